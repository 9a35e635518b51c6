# The host build: the program's logic on the simulated machine, the lab, and the tests.
find_package(nlohmann_json 3.11 REQUIRED)
find_package(OpenSSL REQUIRED)
include(CTest)

file(GLOB VORN_SIMULATED_SOURCES CONFIGURE_DEPENDS platform/simulated/*.cpp)
file(GLOB VORN_LAB_SOURCES CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR} lab/*.cpp)
list(REMOVE_ITEM VORN_LAB_SOURCES lab/main.cpp)
file(GLOB VORN_CAPTURE_SOURCES CONFIGURE_DEPENDS capture/*.cpp capture/simulated/*.cpp)
file(GLOB VORN_REHEARSAL_SOURCES CONFIGURE_DEPENDS rehearsal/*.cpp)

# The libraries and the lab come in one or two kinds: plain, and with VORN_SANITIZED_TESTS a second
# time with the sanitizers, under names that end in "_sanitized". What is compiled against them is
# compiled once and linked with each kind.
set(VORN_KINDS "")
if(BUILD_TESTING AND VORN_SANITIZED_TESTS)
  set(VORN_KINDS _sanitized)
endif()

function(vorn_host_libraries kind)
  if(NOT TARGET vorn_base${kind})  # the plain one is also the Windows build's
    add_library(vorn_base${kind} STATIC ${VORN_BASE_SOURCES})
    target_link_libraries(vorn_base${kind} PUBLIC vorn_options)
  endif()
  add_library(vorn_simulated${kind} STATIC ${VORN_SIMULATED_SOURCES})
  target_link_libraries(vorn_simulated${kind} PUBLIC vorn_base${kind} PRIVATE OpenSSL::Crypto)
  add_library(vorn_logic${kind} STATIC ${VORN_LOGIC_SOURCES})
  target_link_libraries(vorn_logic${kind} PUBLIC vorn_simulated${kind})
  add_library(vorn_rehearsal_library${kind} STATIC ${VORN_REHEARSAL_SOURCES})
  target_link_libraries(vorn_rehearsal_library${kind} PUBLIC vorn_base${kind})
  add_library(vorn_capture_library${kind} STATIC ${VORN_CAPTURE_SOURCES})
  target_link_libraries(vorn_capture_library${kind} PUBLIC vorn_logic${kind})
  add_library(vorn_lab_library${kind} STATIC ${VORN_LAB_SOURCES})
  target_link_libraries(vorn_lab_library${kind} PUBLIC vorn_capture_library${kind}
                                                       vorn_rehearsal_library${kind}
                                                PRIVATE nlohmann_json::nlohmann_json)
  target_compile_definitions(vorn_lab_library${kind} PRIVATE VORN_VERSION="${PROJECT_VERSION}")
  add_executable(vorn_lab${kind} lab/main.cpp)
  target_link_libraries(vorn_lab${kind} PRIVATE vorn_lab_library${kind})

  set(libraries vorn_base${kind} vorn_simulated${kind} vorn_logic${kind}
                vorn_rehearsal_library${kind} vorn_capture_library${kind} vorn_lab_library${kind})
  if(kind STREQUAL "_sanitized")
    # Sanitized code is slow to compile and slow to run. What thousands of runs pass through has one step
    # of optimisation less than the plain kind. The rest is compiled for longer than it runs: it has none.
    vorn_sanitize(-O1 vorn_base${kind} vorn_simulated${kind} vorn_logic${kind})
    vorn_sanitize(-O0 vorn_rehearsal_library${kind} vorn_capture_library${kind} vorn_lab_library${kind})
  endif()
  if(VORN_UNITY)
    set_target_properties(${libraries} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
    # Its sources share one set of large templates, which each batch would compile anew.
    set_target_properties(vorn_lab_library${kind} PROPERTIES UNITY_BUILD_BATCH_SIZE 0)
  endif()
  vorn_precompile(vorn_logic${kind} <string> <string_view> <vector> <map> <memory> <optional>
                  <variant>)
  vorn_precompile(vorn_simulated${kind} <string> <string_view> <vector> <map> <memory> <optional>
                  <variant> <functional> <algorithm>)
endfunction()

vorn_host_libraries("")
foreach(kind IN LISTS VORN_KINDS)
  vorn_host_libraries(${kind})
endforeach()

if(BUILD_TESTING)
  include(cmake/tests.cmake)
endif()
if(VORN_BENCHMARKS)
  include(cmake/benchmarks.cmake)
endif()
if(VORN_FUZZERS)
  include(cmake/fuzz.cmake)
endif()
