# How tests are added, in tests/ and elsewhere.

# The bus's ports are fixed. Where the system allows it, each test that opens them runs in a network namespace of its
# own, so that such tests run side by side. Elsewhere they take turns.
set(tarvex_isolate ${PROJECT_SOURCE_DIR}/tests/common/isolated)
execute_process(COMMAND ${tarvex_isolate} true RESULT_VARIABLE tarvex_cannot_isolate OUTPUT_QUIET ERROR_QUIET)
if(tarvex_cannot_isolate)
    message(STATUS "No network namespaces here: tests that use the bus ports take turns")
endif()

# The environment of every test: the user's locale, time zone and logging rules have no effect, and a sanitizer's report
# ends the test.
set(tarvex_test_environment
    LC_ALL=C.UTF-8
    # Far from UTC, and not by whole hours, so that no test takes local time for UTC.
    TZ=Asia/Kathmandu
    QT_LOGGING_RULES=
    # CTest has a time limit for each test. QtTest's own limit would end long tests, and tests that put the process's
    # clock forward by more than that limit.
    QTEST_FUNCTION_TIMEOUT=2147483647
    ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1
    UBSAN_OPTIONS=print_stacktrace=1
    # Debian's Qt is not instrumented, so what its own code does is not looked at. The library is not suppressed by
    # name, because that would hide the races of our slots, which Qt calls.
    TSAN_OPTIONS=ignore_noninstrumented_modules=1:halt_on_error=1:second_deadlock_stack=1)

# The slowest tests, and about how many seconds each takes. CTest begins with the most expensive ones, so that none of
# them runs alone at the end. It measures the others itself, but knows nothing yet in a new build folder. Most of them
# wait for one of the library's own times.
set(tarvex_slow_tests
    tst_printerfaults=140
    tst_killedbus.ringOfServices_losesNothing_whateverEnds=120
    page_browser=90
    tst_tarvexmsgworker=83
    tst_awkwardserver_query=72
    package_examples=71
    tst_controller_destruction=63
    package_is_reproducible=60
    tst_service_end=57
    tst_tarvexcontroller=55
    tst_monitorverb=55
    tst_httpserver=55
    scripts_test=51
    tst_absentbus=51
    tst_follower=50
    tst_awkwardserver_receiver=49
    tst_listenverb=47
    tst_exitstatus=40
    tst_killedbus.everyAcceptedMessage_arrivesOnceAndInOrder=38
    scripts_progress=38
    tst_socketreader=38
    benchmarks_bench=36
    tst_waitfor=35)

# tarvex_test_properties(<test> [TIMEOUT s] [LABELS l...]): the environment, the time limit and the place in the order
# of a test.
function(tarvex_test_properties name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "LABELS")
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    set_tests_properties(${name} PROPERTIES
        TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}" ENVIRONMENT "${tarvex_test_environment}")
    if("${tarvex_slow_tests}" MATCHES "(^|;)${name}=([0-9]+)")
        set_tests_properties(${name} PROPERTIES COST ${CMAKE_MATCH_2})
    endif()
endfunction()

# tarvex_add_bus_test(<test> COMMAND <command>... ): a test that uses the fixed ports.
function(tarvex_add_bus_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "COMMAND;LABELS")
    if(tarvex_cannot_isolate)
        add_test(NAME ${name} COMMAND ${arg_COMMAND})
    else()
        add_test(NAME ${name} COMMAND ${tarvex_isolate} ${arg_COMMAND})
    endif()
    tarvex_test_properties(${name} TIMEOUT ${arg_TIMEOUT} LABELS ${arg_LABELS})
    if(tarvex_cannot_isolate)
        set_tests_properties(${name} PROPERTIES RESOURCE_LOCK bus_ports)
    endif()
endfunction()

# tarvex_add_test(<name> [BUS_PORTS] [TIMEOUT s] [SOURCES s...] [LIBRARIES l...]): builds <name>.cpp and runs it.
function(tarvex_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "BUS_PORTS" "TIMEOUT" "SOURCES;LIBRARIES;LABELS")
    add_executable(${name} ${name}.cpp ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE tarvex_test_common Qt5::Test tarvex_private_options ${arg_LIBRARIES})
    if(arg_BUS_PORTS)
        tarvex_add_bus_test(${name} COMMAND $<TARGET_FILE:${name}> TIMEOUT ${arg_TIMEOUT} LABELS ${arg_LABELS})
    else()
        add_test(NAME ${name} COMMAND ${name})
        tarvex_test_properties(${name} TIMEOUT ${arg_TIMEOUT} LABELS ${arg_LABELS})
    endif()
endfunction()

# tarvex_executables_below(<folder> <variable>): the names of the programs that the folder and those below it build.
function(tarvex_executables_below folder result)
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    set(found)
    foreach(target IN LISTS targets)
        get_target_property(type ${target} TYPE)
        if(type STREQUAL "EXECUTABLE")
            list(APPEND found ${target})
        endif()
    endforeach()
    foreach(below IN LISTS folders)
        tarvex_executables_below(${below} more)
        list(APPEND found ${more})
    endforeach()
    set(${result} ${found} PARENT_SCOPE)
endfunction()

# tarvex_check_built(): makes ctest refuse a build of which programs are missing. To be called when all programs are
# known.
function(tarvex_check_built)
    tarvex_executables_below(${PROJECT_SOURCE_DIR} programs)
    list(TRANSFORM programs REPLACE "(.+)" "\"$<TARGET_FILE:\\1>\"")
    list(JOIN programs "\n    " tarvex_test_programs)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/check_built.cmake.in ${PROJECT_BINARY_DIR}/check_built.cmake.in @ONLY)
    file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/check_built.cmake INPUT ${PROJECT_BINARY_DIR}/check_built.cmake.in)
    set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY TEST_INCLUDE_FILES
        ${PROJECT_BINARY_DIR}/check_built.cmake)
endfunction()
