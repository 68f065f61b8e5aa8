# What the programs say about their options, as JSON: the manual pages and the completions are made of it. A program must
# run for that. Instrumented programs are not run while they are built, and those for another machine cannot be.

find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(tarvex_can_describe TRUE)
if(TARVEX_SANITIZE OR TARVEX_COVERAGE OR (CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR))
    message(STATUS "The programs are not run here: no manual pages, and no completion of tarvex-devbus")
    set(tarvex_can_describe FALSE)
    return()
endif()
set(tarvex_descriptions ${PROJECT_BINARY_DIR}/descriptions)
foreach(program IN ITEMS tarvexctl tarvex-devbus)
    add_custom_command(OUTPUT ${tarvex_descriptions}/${program}.json
        COMMAND ${CMAKE_COMMAND} -E make_directory ${tarvex_descriptions}
        COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8 --unset=LANGUAGE
            $<TARGET_FILE:${program}> describe > ${tarvex_descriptions}/${program}.json
        DEPENDS ${program} VERBATIM)
endforeach()
add_custom_target(descriptions DEPENDS ${tarvex_descriptions}/tarvexctl.json ${tarvex_descriptions}/tarvex-devbus.json)
