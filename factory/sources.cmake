list(APPEND SC_SOURCES
  ${CMAKE_SOURCE_DIR}/factory/SplitString.cpp
  ${CMAKE_SOURCE_DIR}/factory/AidlSensorFactoryHalWrapper.cpp)

# On the host the binder NDK and the interface's NDK stub come from the
# emulation library; the device build links libbinder_ndk and the stub instead.
# Deferred because the library target is created after this file is read.
if(TARGET sc-host-binder)
  cmake_language(DEFER CALL target_link_libraries sensor-config PUBLIC sc-host-binder)
endif()
