list(APPEND SC_SOURCES
  ${CMAKE_SOURCE_DIR}/param/JsonFile.cpp
  ${CMAKE_SOURCE_DIR}/param/UnderDisplayLightParam.cpp)
