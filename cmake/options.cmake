# A compiler cache is used where one is installed. What it keeps must not depend on the dates of
# precompiled headers. Debug symbols have paths, so it must leave those of the shipped program alone.
find_program(VORN_CCACHE ccache)
if(VORN_CCACHE AND NOT MSVC AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${VORN_CCACHE})
endif()
if(WIN32 AND CMAKE_CXX_COMPILER_LAUNCHER)
  list(PREPEND CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=)
endif()

# Flags that every target of the project is built with.
add_library(vorn_options INTERFACE)
target_include_directories(vorn_options INTERFACE ${CMAKE_SOURCE_DIR})
if(MSVC)
  target_compile_options(vorn_options INTERFACE /W4 /WX /permissive- /utf-8 /EHsc)
else()
  target_compile_options(vorn_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                                                -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC looks for garbage whenever its memory has doubled, and finds little: a tenth of its time. It may
  # take a gigabyte first.
  target_compile_options(vorn_options INTERFACE --param=ggc-min-heapsize=1000000)
endif()
if(VORN_COVERAGE)
  # What stands above the platform is counted wherever it is compiled, so also a template or an
  # inline function of its headers in a test; nothing else is.
  set(VORN_COVERAGE_LIST ${CMAKE_BINARY_DIR}/coverage.list)
  set(VORN_COVERED "")
  foreach(folder IN LISTS VORN_FOLDERS)
    string(APPEND VORN_COVERED "src:${CMAKE_SOURCE_DIR}/${folder}/[^/]+\n")
  endforeach()
  file(GENERATE OUTPUT ${VORN_COVERAGE_LIST} CONTENT "${VORN_COVERED}")
  # Here a compiler counts that is not the one whose warnings the tests are held to.
  target_compile_options(vorn_options INTERFACE -fprofile-instr-generate -fcoverage-mapping
                                                -fprofile-list=${VORN_COVERAGE_LIST} -Wno-error)
  target_link_options(vorn_options INTERFACE -fprofile-instr-generate)
endif()

# Builds targets with AddressSanitizer and UndefinedBehaviorSanitizer, and so that libFuzzer sees which
# code an input reaches. The test programs' own code is not instrumented: that would triple the time that
# they take to compile, and prove nothing about the program.
function(vorn_sanitize)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "VORN_SANITIZED needs clang++, which brings libFuzzer")
  endif()
  set(options -g1 -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  set(reached -fsanitize=fuzzer-no-link -fno-sanitize-coverage=trace-cmp
              -fsanitize-coverage-ignorelist=${CMAKE_SOURCE_DIR}/tests/fuzz/coverage.ignorelist)
  # Without these checks a program is made and runs in three quarters of the time, and they find little of
  # their own: a null pointer crashes by itself, AddressSanitizer sees an object that is too small, or a
  # pointer that left its memory, as soon as somebody looks there, and nothing casts down unchecked.
  set(cheaper -fno-sanitize=null,object-size,pointer-overflow,vptr)
  foreach(target IN LISTS ARGN)
    target_compile_options(${target} PRIVATE ${options})
    if(NOT BUILD_TESTING)
      target_compile_options(${target} PRIVATE ${reached} ${cheaper})
    elseif(target STREQUAL "vorn_simulated")
      # It is twice as large as the program, and not shipped. What readers of bytes reach in it is noise.
      target_compile_options(${target} PRIVATE ${cheaper})
    else()
      target_compile_options(${target} PRIVATE ${reached})
    endif()
    # The library's own checks see a look behind a list's end that stays within its memory.
    target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
    # There are two dozen programs, and LLVM's own linker takes a quarter of the time.
    target_link_options(${target} PUBLIC -fsanitize=address,undefined -fuse-ld=lld)
  endforeach()
endfunction()

# Precompiles the standard headers that most files of a target include. Where many sources are compiled
# at once, GCC takes longer for that than it saves.
set(VORN_PRECOMPILES ${VORN_PRECOMPILED_HEADERS})
if(VORN_UNITY AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  set(VORN_PRECOMPILES OFF)
endif()
function(vorn_precompile target)
  if(VORN_PRECOMPILES)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()
