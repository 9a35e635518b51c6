# The folders of the program, from the top floor down, as floors.txt lists them.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/floors.txt)
file(STRINGS ${CMAKE_SOURCE_DIR}/floors.txt lines REGEX "^[a-z]")
set(VORN_FOLDERS "")
foreach(line IN LISTS lines)
  string(REGEX MATCH "^[a-z_]+" folder "${line}")
  list(APPEND VORN_FOLDERS ${folder})
endforeach()
