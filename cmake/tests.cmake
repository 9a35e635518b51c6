# One test program for each folder of tests/, each test a ctest of its own.
find_package(GTest REQUIRED)
include(GoogleTest)

file(GLOB VORN_TEST_SUPPORT_SOURCES CONFIGURE_DEPENDS tests/support/*.cpp tests/invariants/*.cpp)
add_library(vorn_test_support INTERFACE)
if(VORN_TEST_SUPPORT_SOURCES)
  add_library(vorn_test_support_library STATIC ${VORN_TEST_SUPPORT_SOURCES})
  target_link_libraries(vorn_test_support_library PUBLIC vorn_logic vorn_simulated GTest::gtest)
  target_link_libraries(vorn_test_support INTERFACE vorn_test_support_library)
endif()
target_link_libraries(vorn_test_support INTERFACE vorn_logic vorn_simulated GTest::gtest_main)

# vorn_test_folder(name [libraries...]): tests/<name>/*.cpp becomes the program <name>_tests.
function(vorn_test_folder name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${name}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name}_tests ${sources})
  target_link_libraries(${name}_tests PRIVATE vorn_test_support ${ARGN})
  # Tests are compiled far more often than they run: no optimisation.
  target_compile_options(${name}_tests PRIVATE -O0)
  vorn_precompile(${name}_tests <gtest/gtest.h>)
  gtest_discover_tests(${name}_tests TEST_PREFIX "${name}/" DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT 300)
endfunction()

foreach(folder base cli install devnode privileged_input package remove control catalog verify
               simulated scenarios faults)
  vorn_test_folder(${folder})
endforeach()

# The table of attacks is built on request: two of its rows end in an assertion of the model, and
# the model does not give back the strings of a process that is killed, which the sanitizer reports.
option(VORN_ADVERSARIES "Build the table of attacks" OFF)
if(VORN_ADVERSARIES)
  vorn_test_folder(adversaries)
endif()
if(TARGET vorn_lab_library)
  vorn_test_folder(lab vorn_lab_library)
  if(TARGET lab_tests)
    target_compile_definitions(lab_tests PRIVATE VORN_LAB_PROGRAM="$<TARGET_FILE:vorn_lab>")
    add_dependencies(lab_tests vorn_lab)
  endif()
endif()

# The contract suite, here against the model; cmake/windows.cmake builds it against Windows. It
# prints its own count.
file(GLOB VORN_CONTRACT_SOURCES CONFIGURE_DEPENDS tests/contract/*.cpp tests/contract/model/*.cpp)
add_executable(contract_tests ${VORN_CONTRACT_SOURCES})
target_link_libraries(contract_tests PRIVATE vorn_logic vorn_simulated)
target_compile_options(contract_tests PRIVATE -O0)
add_test(NAME contract COMMAND contract_tests)
set_tests_properties(contract PROPERTIES TIMEOUT 120)

# What the model reads of an INF, to be held against what Wine reads of it.
add_executable(vorn_inf_dump tests/inf_dump/dump.cpp tests/inf_dump/model_main.cpp)
target_link_libraries(vorn_inf_dump PRIVATE vorn_logic vorn_simulated)

# The committed corpus is what its generator writes.
add_executable(make_inf_corpus tests/data/make-inf-corpus.cpp)
target_link_libraries(make_inf_corpus PRIVATE vorn_options)
add_test(NAME inf_corpus_is_generated
         COMMAND ${CMAKE_SOURCE_DIR}/tests/data/check-inf-corpus $<TARGET_FILE:make_inf_corpus>)
