# The fuzz program: all of tests/fuzz/ in one, with everything that it reaches instrumented.
file(GLOB VORN_FUZZ_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/fuzz/*.cpp)
add_executable(vorn_fuzz ${VORN_FUZZ_SOURCES})
vorn_sanitize(vorn_fuzz)
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
target_link_libraries(vorn_fuzz_judges PUBLIC vorn_options GTest::gtest)
target_link_libraries(vorn_fuzz PRIVATE vorn_fuzz_judges vorn_lab_library
                                        nlohmann_json::nlohmann_json)
target_link_options(vorn_fuzz PRIVATE -fsanitize=fuzzer)
if(VORN_UNITY)
  set_target_properties(vorn_fuzz vorn_fuzz_judges PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
endif()
