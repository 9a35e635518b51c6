# Flags that every target of the project is built with.
add_library(vorn_options INTERFACE)
target_include_directories(vorn_options INTERFACE ${CMAKE_SOURCE_DIR})
if(MSVC)
  target_compile_options(vorn_options INTERFACE /W4 /WX /permissive- /utf-8 /EHsc)
else()
  target_compile_options(vorn_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                                                -Werror)
endif()
if(VORN_SANITIZE)
  target_link_options(vorn_options INTERFACE -fsanitize=address,undefined)
endif()
if(VORN_COVERAGE)
  target_link_options(vorn_options INTERFACE --coverage)
endif()

# Instruments a target as the build asks for. The test programs' own code is not instrumented: it
# would triple the time that they take to compile, and prove nothing about the program.
function(vorn_instrument target)
  if(VORN_SANITIZE)
    # GCC takes the optional values of instrumented code for uninitialised where they are not.
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-sanitize-recover=all
                                             -fno-omit-frame-pointer -Wno-maybe-uninitialized)
  endif()
  if(VORN_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage -fno-inline)
  endif()
endfunction()

# Precompiles the standard headers that most files of a target include.
function(vorn_precompile target)
  if(VORN_PRECOMPILED_HEADERS)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()
