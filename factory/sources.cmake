list(APPEND SC_SOURCES
  ${CMAKE_SOURCE_DIR}/factory/SplitString.cpp)
