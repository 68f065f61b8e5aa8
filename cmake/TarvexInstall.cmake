# The CMake package and the pkg-config files. The installed tree may be moved: neither holds an absolute path.

set(tarvex_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tarvexlib)
install(EXPORT wexcorcoreTargets NAMESPACE wexcor:: DESTINATION ${tarvex_cmake_dir} COMPONENT development)
install(EXPORT tarvexlibTargets NAMESPACE tarvex:: DESTINATION ${tarvex_cmake_dir} COMPONENT development)
if(TARGET tarvextesting)
    # A file of its own, because the package looks at this file to know whether the component is installed.
    install(EXPORT tarvextestingTargets NAMESPACE tarvex:: DESTINATION ${tarvex_cmake_dir} COMPONENT testing)
endif()
configure_package_config_file(cmake/tarvexlibConfig.cmake.in tarvexlibConfig.cmake
    INSTALL_DESTINATION ${tarvex_cmake_dir})
write_basic_package_version_file(tarvexlibConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/tarvexlibConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/tarvexlibConfigVersion.cmake
    DESTINATION ${tarvex_cmake_dir} COMPONENT development)

file(RELATIVE_PATH tarvex_pc_to_prefix
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
get_directory_property(tarvex_public_folders DIRECTORY ${PROJECT_SOURCE_DIR}/src DEFINITION public_folders)
set(tarvex_pc_folders "")
foreach(folder IN LISTS tarvex_public_folders)
    string(APPEND tarvex_pc_folders " -I\${includedir}/tarvexlib/${folder}")
endforeach()
# tarvex_install_module(<pkg-config module> <component>): installs the module's file with the component.
function(tarvex_install_module module component)
    configure_file(cmake/${module}.pc.in ${module}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${module}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${component})
endfunction()
tarvex_install_module(wexcorcore development)
tarvex_install_module(tarvexlib development)
if(TARGET tarvextesting)
    tarvex_install_module(tarvextesting testing)
endif()

# The API reference, if scripts/docs has built it. Qt Creator and Qt Assistant look for help in Qt's own folder.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/docs/html
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libtarvexlib-doc COMPONENT documentation OPTIONAL)
install(FILES ${PROJECT_SOURCE_DIR}/build/docs/tarvexlib.qch
    DESTINATION ${CMAKE_INSTALL_DATADIR}/qt5/doc COMPONENT documentation OPTIONAL)
