# How long things take. Nothing here is a test. Each source of bench/ is a program: the comment at its
# top says what it measures.
find_package(benchmark REQUIRED)
foreach(program commands:vorn_benchmarks growth:vorn_growth)
  string(REPLACE ":" ";" parts ${program})
  list(GET parts 0 source)
  list(GET parts 1 target)
  add_executable(${target} bench/${source}_bench.cpp)
  target_link_libraries(${target} PRIVATE vorn_logic vorn_simulated benchmark::benchmark_main)
endforeach()

add_executable(vorn_hash bench/host/hash.cpp)
target_link_libraries(vorn_hash PRIVATE vorn_logic vorn_simulated OpenSSL::Crypto)
