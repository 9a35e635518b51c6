# The fuzz program: all of tests/fuzz/ in one, with everything that it reaches instrumented.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "VORN_FUZZERS needs clang++, which brings libFuzzer")
endif()
option(VORN_TRACE_COMPARISONS "Let libFuzzer learn from the comparisons that fail" ON)

# Some checks are left out that make a program slow and find nothing here: a null pointer crashes by
# itself, AddressSanitizer sees an object that is too small, or a pointer that left its memory, as
# soon as somebody looks there, and nothing casts down to a derived class unchecked.
target_compile_options(
  vorn_options
  INTERFACE -fsanitize=fuzzer-no-link,address,undefined
            -fno-sanitize=null,object-size,pointer-overflow,vptr -fno-sanitize-recover=all
            -fno-omit-frame-pointer
            -fsanitize-coverage-ignorelist=${CMAKE_SOURCE_DIR}/tests/fuzz/coverage.ignorelist)
if(NOT VORN_TRACE_COMPARISONS)
  target_compile_options(vorn_options INTERFACE -fno-sanitize-coverage=trace-cmp)
endif()
target_link_options(vorn_options INTERFACE -fsanitize=address,undefined)

file(GLOB VORN_FUZZ_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/fuzz/*.cpp)
# What reads machine.json, without the rest of the lab, and the look at a machine.
add_executable(vorn_fuzz
               lab/bad_input.cpp lab/machine_document.cpp lab/json.cpp lab/json_text.cpp lab/facts.cpp
               lab/fact_values.cpp lab/audio_facts.cpp lab/device_facts.cpp lab/driver_facts.cpp
               lab/file_facts.cpp lab/registry_facts.cpp lab/typed_data.cpp lab/stored_name.cpp
               lab/near_word.cpp lab/call_names.cpp lab/fault_spec.cpp lab/world_change.cpp
               lab/command_words.cpp
               lab/capture_import.cpp lab/capture_document.cpp lab/capture_volumes.cpp
               lab/capture_devices.cpp lab/capture_audio.cpp lab/volume_putting_together.cpp
               lab/volume_taking_apart.cpp lab/volume_tree.cpp
               rehearsal/recording.cpp rehearsal/escaped_text.cpp
               ${VORN_FUZZ_SOURCES})
# What makes, disturbs and judges whole runs. Instrumented it would take twice the time and find
# nothing of the program.
find_package(GTest REQUIRED)
file(GLOB VORN_JUDGE_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/invariants/*.cpp)
add_library(vorn_fuzz_judges STATIC
            ${VORN_JUDGE_SOURCES} tests/faults/failure_table.cpp tests/faults/other_processes.cpp
            tests/faults/planned_fault.cpp tests/faults/scenarios.cpp tests/faults/undisturbed.cpp
            tests/faults/fault_plans.cpp
            tests/support/activation.cpp tests/support/console_lines.cpp
            tests/support/machine_view.cpp tests/support/planned_faults.cpp
            tests/support/run_command.cpp)
target_include_directories(vorn_fuzz_judges PRIVATE ${CMAKE_SOURCE_DIR})
target_compile_options(vorn_fuzz_judges PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                                                -Werror)
target_link_libraries(vorn_fuzz_judges PUBLIC GTest::gtest)
target_link_libraries(vorn_fuzz PRIVATE vorn_fuzz_judges vorn_logic vorn_simulated
                                        nlohmann_json::nlohmann_json)
target_link_options(vorn_fuzz PRIVATE -fsanitize=fuzzer)

# Many sources are compiled at once, which takes a third of the time: two batches of each library,
# for two cores, and one of what is small.
set_target_properties(vorn_base vorn_fuzz_judges PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
set_target_properties(vorn_logic PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 34)
set_target_properties(vorn_simulated PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 29)
set_target_properties(vorn_fuzz PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 10)
