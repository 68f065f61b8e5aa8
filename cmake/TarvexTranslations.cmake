# tarvex_add_translations(<target> <name>): compiles the translations <name>_<language>.ts of the folder translations/, or
# of the folder FOLDER, and puts them into the target as the resources :/translations/<name>_<language>.qm. In a static
# library a function must name the resource <name>_translations with Q_INIT_RESOURCE().

function(tarvex_add_translations target name)
    cmake_parse_arguments(PARSE_ARGV 2 arg "" "FOLDER" "")
    if(NOT arg_FOLDER)
        set(arg_FOLDER ${PROJECT_SOURCE_DIR}/translations)
    endif()
    file(GLOB sources CONFIGURE_DEPENDS ${arg_FOLDER}/${name}_*.ts)
    qt5_add_translation(compiled ${sources} OPTIONS -silent)
    set(lines)
    foreach(file IN LISTS compiled)
        get_filename_component(file_name ${file} NAME)
        string(APPEND lines "        <file alias=\"${file_name}\">${file}</file>\n")
    endforeach()
    set(list ${CMAKE_CURRENT_BINARY_DIR}/${name}_translations.qrc)
    file(CONFIGURE OUTPUT ${list} CONTENT
        "<RCC>\n    <qresource prefix=\"/translations\">\n@lines@    </qresource>\n</RCC>\n" @ONLY)
    # Not compressed, because a program reads its catalogue at each start.
    qt5_add_resources(resources ${list} OPTIONS -no-compress ${CMAKE_AUTORCC_OPTIONS})
    target_sources(${target} PRIVATE ${resources})
endfunction()
