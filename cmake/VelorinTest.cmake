find_package(GTest REQUIRED)
include(GoogleTest)

# The headers of the tests are precompiled once, by a program that is never run: an executable, since the flags of a
# library differ.
if(VELORIN_PRECOMPILE)
    add_executable(test-headers EXCLUDE_FROM_ALL "${CMAKE_CURRENT_LIST_DIR}/test_headers.cpp")
    target_link_libraries(test-headers PRIVATE velorin_build_flags GTest::gtest GTest::gmock Threads::Threads)
    target_precompile_headers(test-headers PRIVATE <gmock/gmock.h> <gtest/gtest.h> <algorithm> <array> <atomic> <chrono>
        <cstdint> <cstring> <deque> <filesystem> <fstream> <functional> <map> <memory> <mutex> <sstream> <string> <thread>
        <vector>)
endif()

function(velorin_use_test_headers target)
    if(VELORIN_PRECOMPILE)
        target_precompile_headers(${target} REUSE_FROM test-headers)
    endif()
endfunction()

# Those that the thread sanitizer has to see: the label is "threads".
add_custom_target(velorin_thread_tests)

# velorin_add_test(<name> SOURCES <file>... [LIBS <target>...] [TIMEOUT <seconds>] [LABELS <label>...])
# A GoogleTest program; each of its tests is a CTest entry of its own, in a process of its own. Under an emulator, which
# takes longer to start than most tests, the program is one entry and writes down its tests as <name>.xml. programs.txt
# names all of them.
function(velorin_add_test name)
    cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 60)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${arg_LIBS} velorin_build_flags GTest::gtest GTest::gmock GTest::gtest_main
        Threads::Threads)
    velorin_use_test_headers(${name})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
    set(properties TIMEOUT ${arg_TIMEOUT})
    if(arg_LABELS)
        list(APPEND properties LABELS "${arg_LABELS}")
        if("threads" IN_LIST arg_LABELS)
            add_dependencies(velorin_thread_tests ${name})
        endif()
    endif()
    set_property(GLOBAL APPEND PROPERTY velorin_test_programs ${name})
    if(CMAKE_CROSSCOMPILING)
        math(EXPR timeout "${arg_TIMEOUT} * 10")
        add_test(NAME ${name} COMMAND ${name} "--gtest_output=xml:${CMAKE_BINARY_DIR}/results/${name}.xml")
        set_tests_properties(${name} PROPERTIES TIMEOUT ${timeout} LABELS "${arg_LABELS}")
        return()
    endif()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 TEST_PREFIX "${name}." PROPERTIES ${properties})
endfunction()

# velorin_started_program(<test> <definition> <program>): the definition is the path of a program that the test starts. Under
# an emulator it is that of a script, which starts the program in one.
function(velorin_started_program test definition program)
    set(path "$<TARGET_FILE:${program}>")
    if(CMAKE_CROSSCOMPILING)
        list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
        set(script "${CMAKE_CURRENT_BINARY_DIR}/${program}.sh")
        file(GENERATE OUTPUT "${script}" CONTENT "#!/bin/sh\nexec ${emulator} '${path}' \"$@\"\n"
            FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
        set(path "${script}")
    endif()
    target_compile_definitions(${test} PRIVATE ${definition}="${path}")
endfunction()
