# The fuzz targets: tests/fuzz/<target>.cpp becomes the program fuzz_<target>, with everything that
# it reaches instrumented.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "VORN_FUZZERS needs clang++, which brings libFuzzer")
endif()
target_compile_options(vorn_options INTERFACE -fsanitize=fuzzer-no-link,address,undefined
                                              -fno-sanitize-recover=all -fno-omit-frame-pointer)
target_link_options(vorn_options INTERFACE -fsanitize=address,undefined)

# What reads machine.json, without the rest of the lab.
add_library(vorn_fuzzed_document STATIC
            lab/machine_document.cpp lab/json_text.cpp lab/facts.cpp lab/fact_values.cpp
            lab/audio_facts.cpp lab/device_facts.cpp lab/driver_facts.cpp lab/file_facts.cpp
            lab/registry_facts.cpp lab/typed_data.cpp lab/stored_name.cpp)
target_link_libraries(vorn_fuzzed_document PUBLIC vorn_logic vorn_simulated
                                                  nlohmann_json::nlohmann_json)

# Many sources are compiled at once, which takes a third of the time. Those that give the same name
# to different helpers of their own stand alone.
set_source_files_properties(
  platform/simulated/file_system.cpp platform/simulated/package_recipe.cpp
  platform/simulated/registry.cpp platform/simulated/services.cpp lab/registry_facts.cpp
  PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
set_target_properties(vorn_logic vorn_simulated vorn_fuzzed_document
                      PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 30)

file(GLOB VORN_FUZZ_SOURCES CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR}/tests/fuzz
     ${CMAKE_SOURCE_DIR}/tests/fuzz/*.cpp)
foreach(source ${VORN_FUZZ_SOURCES})
  get_filename_component(target ${source} NAME_WE)
  add_executable(fuzz_${target} tests/fuzz/${source})
  target_link_libraries(fuzz_${target} PRIVATE vorn_logic vorn_simulated)
  target_link_options(fuzz_${target} PRIVATE -fsanitize=fuzzer)
  list(APPEND VORN_FUZZ_TARGETS fuzz_${target})
endforeach()
target_link_libraries(fuzz_machine_document PRIVATE vorn_fuzzed_document)
add_custom_target(fuzzers DEPENDS ${VORN_FUZZ_TARGETS})
