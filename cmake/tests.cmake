# One test program for each folder of tests/. A program is one ctest, run as a whole: a process for
# each of the 2000 tests would take several times as long as the tests themselves.
find_package(GTest REQUIRED)

# What the compiler has to know of the libraries; a program links them by itself.
add_library(vorn_test_options INTERFACE)
target_link_libraries(vorn_test_options INTERFACE vorn_options GTest::gtest)
# As in the sanitized libraries: inline functions of theirs are compiled into tests, too.
target_compile_definitions(vorn_test_options INTERFACE _GLIBCXX_ASSERTIONS)

# vorn_test_objects(name OPTIMISATION HEADERS_OF SOURCES...): compiles tests. The precompiled header is
# that of the target HEADERS_OF, or its own.
function(vorn_test_objects name optimisation headers_of)
  add_library(${name} OBJECT ${ARGN})
  target_link_libraries(${name} PRIVATE vorn_test_options)
  target_compile_options(${name} PRIVATE ${optimisation})
  if(headers_of STREQUAL name)
    vorn_precompile(${name} <gtest/gtest.h> <algorithm> <functional> <map> <memory> <optional> <set>
                    <string> <string_view> <variant> <vector>)
  elseif(VORN_PRECOMPILES)
    target_precompile_headers(${name} REUSE_FROM ${headers_of})
  endif()
  if(VORN_UNITY)
    set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 20)
  endif()
endfunction()

file(GLOB VORN_TEST_SUPPORT_SOURCES CONFIGURE_DEPENDS tests/support/*.cpp tests/invariants/*.cpp)
# Tests are compiled far more often than they run: no optimisation, but for those that try every
# platform call.
vorn_test_objects(vorn_test_support -O0 vorn_test_support ${VORN_TEST_SUPPORT_SOURCES})

# vorn_add_tests(test program [shards [environment...]]): the ctests of a program. Its tests are dealt
# to as many ctests as there are shards, so that several cores share them.
function(vorn_add_tests test program)
  set(shards 0)
  if(ARGC GREATER 2)
    set(shards ${ARGV2})
  endif()
  if(shards EQUAL 0)
    add_test(NAME ${test} COMMAND ${program} --gtest_brief=1)
    set_tests_properties(${test} PROPERTIES TIMEOUT 600)
    return()
  endif()
  math(EXPR last "${shards} - 1")
  foreach(shard RANGE ${last})
    add_test(NAME ${test}_${shard} COMMAND ${program} --gtest_brief=1)
    set_tests_properties(${test}_${shard} PROPERTIES
      TIMEOUT 900 COST 100
      ENVIRONMENT "GTEST_TOTAL_SHARDS=${shards};GTEST_SHARD_INDEX=${shard}")
  endforeach()
endfunction()

# vorn_test_folder(name [WITH_LAB] [SHARDS count]): tests/<name>/*.cpp becomes the program <name>_tests.
# Only where tests use the lab is it linked, so that the others stay the same when it changes.
function(vorn_test_folder name)
  cmake_parse_arguments(FOLDER "WITH_LAB" "SHARDS" "" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${name}/*.cpp)
  if(NOT sources)
    return()
  endif()
  if(FOLDER_SHARDS)
    if(VORN_SANITIZED)
      # Which makes a sample of these runs.
      vorn_test_objects(${name}_objects -O0 vorn_test_support ${sources})
    else()
      vorn_test_objects(${name}_objects -O1 faults_objects ${sources})
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # GCC 12 takes the short form of an optimised text for an array that is read beyond its end.
      target_compile_options(${name}_objects PRIVATE -Wno-array-bounds -Wno-stringop-overread)
    endif()
    # Fewer at once: optimising takes several times as long as reading.
    if(VORN_UNITY)
      set_target_properties(${name}_objects PROPERTIES UNITY_BUILD_BATCH_SIZE 8)
    endif()
  else()
    vorn_test_objects(${name}_objects -O0 vorn_test_support ${sources})
  endif()
  add_executable(${name}_tests $<TARGET_OBJECTS:${name}_objects> $<TARGET_OBJECTS:vorn_test_support>)
  target_link_libraries(
    ${name}_tests PRIVATE $<IF:$<BOOL:${FOLDER_WITH_LAB}>,vorn_lab_library,vorn_logic> GTest::gtest_main)
  vorn_add_tests(${name} ${name}_tests ${FOLDER_SHARDS})
endfunction()

foreach(folder IN LISTS VORN_FOLDERS ITEMS simulated scenarios)
  vorn_test_folder(${folder})
endforeach()
foreach(folder IN ITEMS lab capture rehearsal)
  vorn_test_folder(${folder} WITH_LAB)
endforeach()

# The unusual machine of the lab's tests is captured, too. The scripts that work on captures run the
# lab's program.
target_sources(capture_objects PRIVATE tests/lab/unusual_machine.cpp)
add_test(NAME capture_tools
         COMMAND ${CMAKE_SOURCE_DIR}/tests/capture/tools $<TARGET_FILE:vorn_lab>)
set_tests_properties(capture_tools PROPERTIES TIMEOUT 300)

# The page that says how many platform calls each command makes.
target_compile_definitions(lab_objects PRIVATE
  VORN_CALLS_PAGE="${CMAKE_SOURCE_DIR}/docs/calls.md")

# Thousands of commands of the lab, whose code the sanitizers watch in its own tests.
if(NOT VORN_SANITIZED)
  vorn_test_folder(integration WITH_LAB)
  # The table that the documents print and the tests run.
  target_compile_definitions(integration_objects PRIVATE
    VORN_DECISIONS="${CMAKE_SOURCE_DIR}/tests/integration/decisions.json"
    VORN_PICTURES="${CMAKE_SOURCE_DIR}/docs/pictures")

  # The catalogue of recordings is made from that table; tools/recordings and tests/wine run this. So
  # are the pictures of the documents; tools/pictures runs that.
  foreach(maker IN ITEMS make_recordings make_pictures)
    add_executable(${maker} tests/integration/program/${maker}.cpp
                   $<TARGET_OBJECTS:integration_objects> $<TARGET_OBJECTS:vorn_test_support>)
    target_link_libraries(${maker} PRIVATE vorn_lab_library GTest::gtest)
  endforeach()

  # What ./test builds first: the lab, and what tries every platform call.
  add_custom_target(vorn_plain_tests
                    DEPENDS vorn_lab vorn_inf_dump make_recordings integration_tests faults_tests
                            adversaries_tests)
endif()

# What is tried at every platform call of every command: thousands of runs, many cores.
vorn_test_folder(faults SHARDS 8)
vorn_test_folder(adversaries SHARDS 8)

# The lab's own tests run its program.
target_sources(lab_tests PRIVATE tests/lab/program/lab_program.cpp)
target_compile_definitions(lab_tests PRIVATE VORN_LAB_PROGRAM="$<TARGET_FILE:vorn_lab>")
add_dependencies(lab_tests vorn_lab)

# These take the longest and cannot be dealt to several cores, so they begin first.
set_tests_properties(lab capture PROPERTIES COST 200)

# The contract suite, here against the model; cmake/windows.cmake builds it against Windows. It
# prints its own count.
file(GLOB VORN_CONTRACT_SOURCES CONFIGURE_DEPENDS tests/contract/*.cpp tests/contract/model/*.cpp)
vorn_test_objects(contract_objects -O0 vorn_test_support ${VORN_CONTRACT_SOURCES})
add_executable(contract_tests $<TARGET_OBJECTS:contract_objects>)
target_link_libraries(contract_tests PRIVATE vorn_logic)
add_test(NAME contract COMMAND contract_tests)
add_test(NAME contract_survival COMMAND contract_tests --survival)
set_tests_properties(contract contract_survival PROPERTIES TIMEOUT 120)

# What the model reads of an INF, to be held against what Wine reads of it, and the INFs. The corpus
# is generated, never committed: its generator is the one place that says what each file shows.
add_executable(make_inf_corpus tests/data/make-inf-corpus.cpp)
target_link_libraries(make_inf_corpus PRIVATE vorn_options)
target_compile_options(make_inf_corpus PRIVATE -O0)
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
target_link_libraries(vorn_inf_dump PRIVATE vorn_logic)
add_dependencies(vorn_inf_dump inf_corpus)
# The model reads all of it, which matters most where the sanitizers watch.
add_test(NAME inf_corpus_is_read
         COMMAND vorn_inf_dump ${VORN_INF_CORPUS} ${CMAKE_SOURCE_DIR}/tests/data/inf/sections)
set_tests_properties(inf_corpus_is_read PROPERTIES
  PASS_REGULAR_EXPRESSION "random-169.inf:" FAIL_REGULAR_EXPRESSION "runtime error|Sanitizer")

# What tools/mutants links with its own build of the logic: every test of the folders in one program.
set(VORN_MUTATION_PARTS $<TARGET_OBJECTS:vorn_test_support>)
add_custom_target(vorn_mutation_parts DEPENDS vorn_test_support)
foreach(folder IN LISTS VORN_FOLDERS ITEMS scenarios)
  if(TARGET ${folder}_objects)
    list(APPEND VORN_MUTATION_PARTS $<TARGET_OBJECTS:${folder}_objects>)
    add_dependencies(vorn_mutation_parts ${folder}_objects)
  endif()
endforeach()
set(VORN_MUTATION_PARTS $<FILTER:${VORN_MUTATION_PARTS},EXCLUDE,[.][gp]ch$>)
file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/vorn_mutation_parts.txt
     CONTENT "$<JOIN:${VORN_MUTATION_PARTS},\n>\n")
