# Cross build for AArch64 with Debian's g++-aarch64-linux-gnu against the
# arm64 multiarch packages (dpkg --add-architecture arm64). Programs built
# here, the test programs and the build-time model-data generator, run under
# qemu-aarch64 (qemu-user).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)

# Multiarch: the arm64 libraries live beside the host's under /usr, so the
# root is the host's own; only the architecture directory differs.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)

# libbacktrace (which libutils pulls in) needs p7zip's 7z.so, a file Debian
# installs outside the multiarch directories, so its arm64 build cannot be
# installed beside the host's: `make test-aarch64` unpacks it into the build
# tree and names that directory here, for the linker and for the emulator.
if(SC_AARCH64_EXTRA_LIBS)
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -E LD_LIBRARY_PATH=${SC_AARCH64_EXTRA_LIBS})
  set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${SC_AARCH64_EXTRA_LIBS}")
  set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-rpath-link,${SC_AARCH64_EXTRA_LIBS}")
endif()
