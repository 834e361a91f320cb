# Cross build for Windows x64 with mingw-w64 (Debian's posix-threads flavour);
# the test programs run under Wine through CMake's cross-compiling emulator.
#
#   cmake --preset windows     (or: cmake -S . -B build-windows -G Ninja
#                               -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake)
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(KS_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${KS_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KS_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${KS_MINGW_TRIPLE}-windres)

# Libraries and headers come from the mingw sysroot only; programs run on the
# build machine.
set(CMAKE_FIND_ROOT_PATH /usr/${KS_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# libstdc++, libgcc and winpthread linked in, so the DLLs and programs need no
# runtime DLLs beside them.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

# Test programs run under Wine.
include(${CMAKE_CURRENT_LIST_DIR}/KsWineEmulator.cmake)
