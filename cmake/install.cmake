# What `cmake --install` lays down: of the Windows build what is shipped, as it stands in the release
# archive; of the host build the lab.
if(WIN32)
  install(TARGETS vorn_devnode RUNTIME DESTINATION .)
  install(TARGETS vorn_rehearsal RUNTIME DESTINATION rehearsal)
  install(TARGETS vorn_capture RUNTIME DESTINATION capture)
  if(NOT MSVC)
    install(FILES ${CMAKE_BINARY_DIR}/vorn_devnode.debug DESTINATION symbols)
  endif()
  install(FILES LICENSE README.md CHANGELOG.md DESTINATION .)
  install(DIRECTORY docs examples DESTINATION . USE_SOURCE_PERMISSIONS
          PATTERN "__pycache__" EXCLUDE)
else()
  install(TARGETS vorn_lab RUNTIME DESTINATION bin)
endif()
