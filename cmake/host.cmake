# The host build: the program's logic on the simulated machine, the lab, and the tests.
find_package(nlohmann_json 3.11 REQUIRED)
find_package(OpenSSL REQUIRED)
include(CTest)

add_library(vorn_logic STATIC ${VORN_LOGIC_SOURCES})
target_link_libraries(vorn_logic PUBLIC vorn_base)
vorn_instrument(vorn_base)
vorn_instrument(vorn_logic)
vorn_precompile(vorn_logic <string> <string_view> <vector> <map> <memory> <optional> <variant>)

file(GLOB VORN_SIMULATED_SOURCES CONFIGURE_DEPENDS platform/simulated/*.cpp)
add_library(vorn_simulated STATIC ${VORN_SIMULATED_SOURCES})
target_link_libraries(vorn_simulated PUBLIC vorn_base PRIVATE OpenSSL::Crypto)
vorn_instrument(vorn_simulated)
vorn_precompile(vorn_simulated <string> <string_view> <vector> <map> <memory> <optional> <variant>
                <functional> <algorithm>)
target_link_libraries(vorn_logic PUBLIC vorn_simulated)

file(GLOB VORN_LAB_SOURCES CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR} lab/*.cpp)
list(REMOVE_ITEM VORN_LAB_SOURCES lab/main.cpp)
if(VORN_LAB_SOURCES)
  add_library(vorn_lab_library STATIC ${VORN_LAB_SOURCES})
  target_link_libraries(vorn_lab_library PUBLIC vorn_logic vorn_simulated
                                         PRIVATE nlohmann_json::nlohmann_json)
  vorn_instrument(vorn_lab_library)
  add_executable(vorn_lab lab/main.cpp)
  target_link_libraries(vorn_lab PRIVATE vorn_lab_library)
endif()

if(VORN_UNITY)
  set_target_properties(vorn_logic vorn_simulated vorn_lab_library
                        PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
endif()
if(BUILD_TESTING)
  include(cmake/tests.cmake)
endif()
if(VORN_BENCHMARKS)
  include(cmake/benchmarks.cmake)
endif()
if(VORN_FUZZERS)
  include(cmake/fuzz.cmake)
endif()
