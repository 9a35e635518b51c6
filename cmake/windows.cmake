# vorn_devnode.exe: the program's logic on Windows itself.
enable_language(RC)
configure_file(platform/windows/resources/vorn_devnode.rc.in
               ${CMAKE_BINARY_DIR}/vorn_devnode.rc @ONLY)
configure_file(rehearsal/windows/vorn_rehearsal.rc.in
               ${CMAKE_BINARY_DIR}/vorn_rehearsal.rc @ONLY)

configure_file(capture/windows/vorn_capture.rc.in
               ${CMAKE_BINARY_DIR}/vorn_capture.rc @ONLY)

file(GLOB VORN_WINDOWS_SOURCES CONFIGURE_DEPENDS platform/windows/*.cpp)
add_library(vorn_logic STATIC ${VORN_LOGIC_SOURCES})
add_library(vorn_windows STATIC ${VORN_WINDOWS_SOURCES})
target_link_libraries(vorn_windows PUBLIC vorn_base setupapi advapi32 ole32)
target_link_libraries(vorn_logic PUBLIC vorn_windows)
target_compile_definitions(vorn_windows PUBLIC UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
                                               _WIN32_WINNT=0x0A00)
if(NOT MSVC)
  # What nothing refers to is left out, function by function. The same sources give the same bytes,
  # wherever they stand and whenever they are built.
  target_compile_options(vorn_options INTERFACE -ffunction-sections -fdata-sections -g
                                                -ffile-prefix-map=${CMAKE_BINARY_DIR}=build
                                                -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)
endif()

# vorn_unity(target [SOURCE...]): compiles the sources of a target many at once, but for these, which
# include Windows' own headers, or main() of a program.
function(vorn_unity target)
  if(VORN_UNITY)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endif()
endfunction()
vorn_unity(vorn_base)
vorn_unity(vorn_logic)
# vorn_windows is compiled source by source: a program imports only from the libraries of the objects
# that it takes, and vorn_rehearsal takes few.

add_executable(vorn_devnode cli/main.cpp ${CMAKE_BINARY_DIR}/vorn_devnode.rc)

# What takes its place in the test of an installer. Of the platform it has streams and start alone.
file(GLOB VORN_REHEARSAL_SOURCES CONFIGURE_DEPENDS rehearsal/*.cpp rehearsal/windows/*.cpp)
add_executable(vorn_rehearsal ${VORN_REHEARSAL_SOURCES} ${CMAKE_BINARY_DIR}/vorn_rehearsal.rc)
vorn_unity(vorn_rehearsal rehearsal/windows/call_log.cpp rehearsal/windows/main.cpp)

# What captures a machine for the lab.
file(GLOB VORN_CAPTURE_SOURCES CONFIGURE_DEPENDS capture/*.cpp capture/windows/*.cpp)
add_executable(vorn_capture ${VORN_CAPTURE_SOURCES} ${CMAKE_BINARY_DIR}/vorn_capture.rc)
vorn_unity(vorn_capture capture/windows/observation.cpp)

set_property(TARGET vorn_base vorn_windows vorn_logic vorn_devnode vorn_rehearsal vorn_capture
             PROPERTY MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
foreach(program vorn_devnode vorn_rehearsal vorn_capture)
  target_link_libraries(${program} PRIVATE vorn_logic)
  if(MSVC)
    # The manifest is one of the program's resources; the linker must not make another.
    # DEPENDENTLOADFLAG limits the search for the libraries of the import table, too.
    # TSAWARE: a session host gives a program without it a private folder as the Windows folder.
    target_link_options(${program} PRIVATE /MANIFEST:NO /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT
                                           /TSAWARE /DEPENDENTLOADFLAG:0x800
                                           /ENTRY:wmainCRTStartup)
  else()
    # An exception that nobody catches ends the program at once. GCC's own handler would first print
    # its type, for which it brings a demangler and a printf: a fifth of the program.
    # The debug symbols go into a file of their own. Unless they are told a date, these tools write
    # the current one.
    target_link_options(${program} PRIVATE
      -municode -static -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat -Wl,--tsaware
      -Wl,--gc-sections -Wl,--no-insert-timestamp
      -Wl,--defsym=_ZN9__gnu_cxx27__verbose_terminate_handlerEv=abort)
    add_custom_command(TARGET ${program} POST_BUILD
      COMMAND ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${CMAKE_OBJCOPY} --only-keep-debug
              $<TARGET_FILE:${program}> ${program}.debug
      COMMAND ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${CMAKE_STRIP} $<TARGET_FILE:${program}>
      BYPRODUCTS ${program}.debug
      VERBATIM)
  endif()
endforeach()

# The contract suite and the INF dump against the platform's own interfaces, for tests/wine and for
# a first run on Windows.
file(GLOB VORN_CONTRACT_SOURCES CONFIGURE_DEPENDS tests/contract/*.cpp
                                                  tests/contract/windows/*.cpp)
add_executable(vorn_contract ${VORN_CONTRACT_SOURCES} platform/simulated/upper_case.cpp)
set(own_headers apart guest_state model_values record_questions seam_contract upper_case_contract world)
list(TRANSFORM own_headers REPLACE "(.+)" "tests/contract/windows/\\1.cpp")
vorn_unity(vorn_contract ${own_headers})
add_executable(vorn_inf_dump tests/inf_dump/dump.cpp tests/inf_dump/windows_main.cpp)
foreach(program vorn_contract vorn_inf_dump)
  target_link_libraries(${program} PRIVATE vorn_logic)
  if(MSVC)
    set_property(TARGET ${program}
                 PROPERTY MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
  else()
    # The same bytes from the same sources, so that ./test can tell what must be tried again.
    target_link_options(${program} PRIVATE -static -Wl,--tsaware -Wl,--gc-sections
                                           -Wl,--no-insert-timestamp -s)
  endif()
endforeach()

# What bench/run measures on Wine.
if(VORN_BENCHMARKS AND NOT MSVC)
  add_executable(vorn_bench bench/windows/main.cpp bench/windows/ours.cpp)
  target_link_libraries(vorn_bench PRIVATE vorn_logic bcrypt)
  target_link_options(vorn_bench PRIVATE -municode -static -Wl,--gc-sections -s)
  # What it costs to load the program's imports, and nothing else: one name of each library.
  add_executable(vorn_nothing bench/windows/nothing.cpp)
  target_link_libraries(vorn_nothing PRIVATE advapi32 ole32 setupapi)
  target_link_options(vorn_nothing PRIVATE -municode -static -s -Wl,-u,RegCloseKey
                                           -Wl,-u,CoUninitialize
                                           -Wl,-u,SetupDiDestroyDeviceInfoList)
endif()
