# vorn_devnode.exe: the program's logic on Windows itself.
enable_language(RC)
configure_file(platform/windows/resources/vorn_devnode.rc.in
               ${CMAKE_BINARY_DIR}/vorn_devnode.rc @ONLY)
configure_file(rehearsal/windows/vorn_rehearsal.rc.in
               ${CMAKE_BINARY_DIR}/vorn_rehearsal.rc @ONLY)

file(GLOB VORN_WINDOWS_SOURCES CONFIGURE_DEPENDS platform/windows/*.cpp)
add_library(vorn_logic STATIC ${VORN_LOGIC_SOURCES} ${VORN_WINDOWS_SOURCES})
target_link_libraries(vorn_logic PUBLIC vorn_base setupapi advapi32 ole32)
target_compile_definitions(vorn_logic PUBLIC UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
                                             _WIN32_WINNT=0x0A00)

add_executable(vorn_devnode cli/main.cpp ${CMAKE_BINARY_DIR}/vorn_devnode.rc)

# What takes its place in the test of an installer. Of the platform it has streams and start alone.
file(GLOB VORN_REHEARSAL_SOURCES CONFIGURE_DEPENDS rehearsal/*.cpp rehearsal/windows/*.cpp)
add_executable(vorn_rehearsal ${VORN_REHEARSAL_SOURCES} ${CMAKE_BINARY_DIR}/vorn_rehearsal.rc)

set_property(TARGET vorn_base vorn_logic vorn_devnode vorn_rehearsal
             PROPERTY MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
foreach(program vorn_devnode vorn_rehearsal)
  target_link_libraries(${program} PRIVATE vorn_logic)
  if(MSVC)
    # The manifest is one of the program's resources; the linker must not make another.
    # DEPENDENTLOADFLAG limits the search for the libraries of the import table, too.
    # TSAWARE: a session host gives a program without it a private folder as the Windows folder.
    target_link_options(${program} PRIVATE /MANIFEST:NO /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT
                                           /TSAWARE /DEPENDENTLOADFLAG:0x800
                                           /ENTRY:wmainCRTStartup)
  else()
    target_link_options(${program} PRIVATE -municode -static -Wl,--dynamicbase
                                           -Wl,--high-entropy-va -Wl,--nxcompat -Wl,--tsaware -s)
  endif()
endforeach()

# The contract suite and the INF dump against the platform's own interfaces, for tests/wine and for
# a first run on Windows.
file(GLOB VORN_CONTRACT_SOURCES CONFIGURE_DEPENDS tests/contract/*.cpp
                                                  tests/contract/windows/*.cpp)
add_executable(vorn_contract ${VORN_CONTRACT_SOURCES})
add_executable(vorn_inf_dump tests/inf_dump/dump.cpp tests/inf_dump/windows_main.cpp)
foreach(program vorn_contract vorn_inf_dump)
  target_link_libraries(${program} PRIVATE vorn_logic)
  if(MSVC)
    set_property(TARGET ${program}
                 PROPERTY MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
  else()
    target_link_options(${program} PRIVATE -static -Wl,--tsaware -s)
  endif()
endforeach()
