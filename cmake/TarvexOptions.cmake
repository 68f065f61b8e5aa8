# The options of the build, and the target with the flags for our own sources. A service that uses the libraries gets
# none of these flags.

option(TARVEX_BUILD_TOOLS "Build the development bus, tarvexctl and the examples" ON)
option(TARVEX_BUILD_EXAMPLES "Build the examples with the tools; they are installed as sources in any case" ON)
option(TARVEX_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(TARVEX_BUILD_BENCHMARKS "Build the benchmarks (needs Google Benchmark)" ${PROJECT_IS_TOP_LEVEL})
option(TARVEX_FUZZ "Build the fuzz target with the fuzzing engine (needs clang)" OFF)
option(TARVEX_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
option(TARVEX_COVERAGE "Instrument for line coverage" OFF)
set(TARVEX_SANITIZE "" CACHE STRING "Value for -fsanitize=, empty for none")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# Programs are linked as what they are compiled for also where the compiler does not do so by itself.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_AUTOMOC ON)
# The oldest form of resources, because the later ones hold the times of the files, and two builds would differ.
set(CMAKE_AUTORCC_OPTIONS --format-version 1)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

# Run paths are relative. In the build folder a library then does not depend on where it was built. Installed, a program
# then finds the libraries also after the prefix was moved.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
file(RELATIVE_PATH tarvex_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set(CMAKE_INSTALL_RPATH $ORIGIN $ORIGIN/${tarvex_bin_to_lib})

# tarvex_include_by_folder(<target> <folder>): in the build tree, too, users of the target may write <folder>/header.h,
# as with the installed package. The root of the sources does not become an include folder by that.
function(tarvex_include_by_folder target folder)
    set(place ${PROJECT_BINARY_DIR}/include/${folder})
    file(MAKE_DIRECTORY ${place})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${place}/${folder} SYMBOLIC)
    target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${place}>)
endfunction()

add_library(tarvex_private_options INTERFACE)
target_compile_options(tarvex_private_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
    $<$<BOOL:${TARVEX_WARNINGS_AS_ERRORS}>:-Werror>)
if(NOT TARVEX_COVERAGE)
    # Keeps the folders of the build machine out of the libraries. Not for coverage, because gcov has to find the
    # sources.
    # A compiler cache may name the sources relative to the folder in which the compiler runs.
    file(RELATIVE_PATH tarvex_build_to_source ${CMAKE_BINARY_DIR} ${PROJECT_SOURCE_DIR})
    target_compile_options(tarvex_private_options INTERFACE
        -ffile-prefix-map=${tarvex_build_to_source}/=
        -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
        -ffile-prefix-map=${PROJECT_BINARY_DIR}/=)
endif()
target_compile_definitions(tarvex_private_options INTERFACE
    QT_NO_KEYWORDS QT_NO_FOREACH QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_URL_CAST_FROM_STRING QT_NO_NARROWING_CONVERSIONS_IN_CONNECT QT_DISABLE_DEPRECATED_BEFORE=0x050F00)

if(TARVEX_SANITIZE)
    # Reports need lines and names only. Full debug information would take a third more of the compiler's time.
    add_compile_options(-fsanitize=${TARVEX_SANITIZE} -fno-omit-frame-pointer -g1 -O1)
    add_link_options(-fsanitize=${TARVEX_SANITIZE})
    if(TARVEX_SANITIZE MATCHES "undefined")
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
endif()
if(TARVEX_COVERAGE)
    # Without this, counts of several threads go wrong and may become negative, and gcovr stops at a negative count.
    add_compile_options(--coverage -O0 -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
