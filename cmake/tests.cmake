# One test program for each folder of tests/. A program is one ctest, run as a whole: a process for
# each of the 2000 tests would take several times as long as the tests themselves.
find_package(GTest REQUIRED)

file(GLOB VORN_TEST_SUPPORT_SOURCES CONFIGURE_DEPENDS tests/support/*.cpp tests/invariants/*.cpp)
add_library(vorn_test_support INTERFACE)
if(VORN_TEST_SUPPORT_SOURCES)
  add_library(vorn_test_support_library STATIC ${VORN_TEST_SUPPORT_SOURCES})
  target_link_libraries(vorn_test_support_library PUBLIC vorn_logic vorn_simulated GTest::gtest)
  target_link_libraries(vorn_test_support INTERFACE vorn_test_support_library)
endif()
target_link_libraries(vorn_test_support INTERFACE vorn_logic vorn_simulated GTest::gtest_main)

# vorn_test_folder(name [SHARDS count] [LIBRARIES library...]): tests/<name>/*.cpp becomes the program
# <name>_tests. Its tests are dealt to as many ctests as it has shards, so that several cores share
# them.
function(vorn_test_folder name)
  cmake_parse_arguments(FOLDER "" "SHARDS" "LIBRARIES" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${name}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name}_tests ${sources})
  target_link_libraries(${name}_tests PRIVATE vorn_test_support ${FOLDER_LIBRARIES})
  # Tests are compiled far more often than they run: no optimisation.
  target_compile_options(${name}_tests PRIVATE -O0)
  vorn_precompile(${name}_tests <gtest/gtest.h>)

  if(NOT FOLDER_SHARDS)
    add_test(NAME ${name} COMMAND ${name}_tests --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES TIMEOUT 600)
    return()
  endif()
  math(EXPR last "${FOLDER_SHARDS} - 1")
  foreach(shard RANGE ${last})
    add_test(NAME ${name}_${shard} COMMAND ${name}_tests --gtest_brief=1)
    set_tests_properties(${name}_${shard} PROPERTIES
      TIMEOUT 900 COST 100
      ENVIRONMENT "GTEST_TOTAL_SHARDS=${FOLDER_SHARDS};GTEST_SHARD_INDEX=${shard}")
  endforeach()
endfunction()

foreach(folder IN LISTS VORN_FOLDERS ITEMS simulated scenarios)
  vorn_test_folder(${folder})
endforeach()

# What is tried at every platform call of every command: thousands of runs, many cores.
vorn_test_folder(faults SHARDS 8)
vorn_test_folder(adversaries SHARDS 8)

if(TARGET vorn_lab_library)
  vorn_test_folder(lab LIBRARIES vorn_lab_library)
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
add_test(NAME contract_survival COMMAND contract_tests --survival)
set_tests_properties(contract contract_survival PROPERTIES TIMEOUT 120)

# What the model reads of an INF, to be held against what Wine reads of it, and the INFs. The corpus
# is generated, never committed: its generator is the one place that says what each file shows.
add_executable(make_inf_corpus tests/data/make-inf-corpus.cpp)
target_link_libraries(make_inf_corpus PRIVATE vorn_options)
set(VORN_INF_CORPUS ${CMAKE_BINARY_DIR}/inf-corpus)
add_custom_command(
  OUTPUT ${VORN_INF_CORPUS}.stamp
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${VORN_INF_CORPUS}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${VORN_INF_CORPUS}
  COMMAND make_inf_corpus ${VORN_INF_CORPUS}
  COMMAND ${CMAKE_COMMAND} -E touch ${VORN_INF_CORPUS}.stamp
  DEPENDS make_inf_corpus
  COMMENT "Writing the INF corpus")
add_custom_target(inf_corpus DEPENDS ${VORN_INF_CORPUS}.stamp)
add_executable(vorn_inf_dump tests/inf_dump/dump.cpp tests/inf_dump/model_main.cpp)
target_link_libraries(vorn_inf_dump PRIVATE vorn_logic vorn_simulated)
add_dependencies(vorn_inf_dump inf_corpus)

# The model reads all of it, which matters most where the sanitizers watch.
add_test(NAME inf_corpus_is_read
         COMMAND vorn_inf_dump ${VORN_INF_CORPUS} ${CMAKE_SOURCE_DIR}/tests/data/inf/sections)
set_tests_properties(inf_corpus_is_read PROPERTIES
  PASS_REGULAR_EXPRESSION "random-169.inf:" FAIL_REGULAR_EXPRESSION "runtime error|Sanitizer")
