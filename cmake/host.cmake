# The host build: the program's logic on the simulated machine, the lab, and the tests.
find_package(nlohmann_json 3.11 REQUIRED)
find_package(OpenSSL REQUIRED)
include(CTest)

file(GLOB VORN_SIMULATED_SOURCES CONFIGURE_DEPENDS platform/simulated/*.cpp)
file(GLOB VORN_LAB_SOURCES CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR} lab/*.cpp)
list(REMOVE_ITEM VORN_LAB_SOURCES lab/main.cpp)
file(GLOB VORN_CAPTURE_SOURCES CONFIGURE_DEPENDS capture/*.cpp capture/simulated/*.cpp)
file(GLOB VORN_REHEARSAL_SOURCES CONFIGURE_DEPENDS rehearsal/*.cpp)

add_library(vorn_simulated STATIC ${VORN_SIMULATED_SOURCES})
target_link_libraries(vorn_simulated PUBLIC vorn_base PRIVATE OpenSSL::Crypto)
add_library(vorn_logic STATIC ${VORN_LOGIC_SOURCES})
target_link_libraries(vorn_logic PUBLIC vorn_simulated)
add_library(vorn_rehearsal_library STATIC ${VORN_REHEARSAL_SOURCES})
target_link_libraries(vorn_rehearsal_library PUBLIC vorn_base)
add_library(vorn_capture_library STATIC ${VORN_CAPTURE_SOURCES})
target_link_libraries(vorn_capture_library PUBLIC vorn_logic)
add_library(vorn_lab_library STATIC ${VORN_LAB_SOURCES})
target_link_libraries(vorn_lab_library PUBLIC vorn_capture_library vorn_rehearsal_library
                                       PRIVATE nlohmann_json::nlohmann_json)
target_compile_definitions(vorn_lab_library PRIVATE VORN_VERSION="${PROJECT_VERSION}")
add_executable(vorn_lab lab/main.cpp)
target_link_libraries(vorn_lab PRIVATE vorn_lab_library)

set(VORN_HOST_LIBRARIES vorn_base vorn_simulated vorn_logic vorn_rehearsal_library
                        vorn_capture_library vorn_lab_library)
if(VORN_SANITIZED)
  vorn_sanitize(${VORN_HOST_LIBRARIES})
  if(BUILD_TESTING)
    # Thousands of runs pass through these. The rest is compiled for longer than it runs.
    foreach(library IN ITEMS vorn_base vorn_simulated vorn_logic)
      target_compile_options(${library} PRIVATE -O1)
    endforeach()
  endif()
else()
  # A third of the time to compile it goes into optimising what hardly ever runs.
  target_compile_options(vorn_lab_library PRIVATE -O1)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # It takes optional values of optional records for uninitialised where they are not; where it does
  # depends on how much it optimises.
  target_compile_options(vorn_lab_library PRIVATE -Wno-maybe-uninitialized)
endif()
if(VORN_UNITY)
  set_target_properties(${VORN_HOST_LIBRARIES} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
  # Its sources share one set of large templates, which each batch would compile anew.
  set_target_properties(vorn_lab_library PROPERTIES UNITY_BUILD_BATCH_SIZE 0)
endif()
vorn_precompile(vorn_logic <string> <string_view> <vector> <map> <memory> <optional> <variant>)
vorn_precompile(vorn_simulated <string> <string_view> <vector> <map> <memory> <optional> <variant>
                <functional> <algorithm>)

if(BUILD_TESTING)
  include(cmake/tests.cmake)
endif()
if(VORN_BENCHMARKS)
  include(cmake/benchmarks.cmake)
endif()
if(VORN_SANITIZED)
  include(cmake/fuzz.cmake)
endif()
