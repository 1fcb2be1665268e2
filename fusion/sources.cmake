list(APPEND SC_SOURCES
  ${CMAKE_SOURCE_DIR}/fusion/SharedState.cpp
  ${CMAKE_SOURCE_DIR}/fusion/CaliCct.cpp
  ${CMAKE_SOURCE_DIR}/fusion/ProjectFeature.cpp
  ${CMAKE_SOURCE_DIR}/fusion/RootFusion.cpp)
