# How long things take. Nothing here is a test.
find_package(benchmark REQUIRED)
file(GLOB VORN_BENCHMARK_SOURCES CONFIGURE_DEPENDS bench/*.cpp)
add_executable(vorn_benchmarks ${VORN_BENCHMARK_SOURCES})
target_link_libraries(vorn_benchmarks PRIVATE vorn_logic vorn_simulated benchmark::benchmark_main)
