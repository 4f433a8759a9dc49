# Cross-compiles for 64-bit Windows with Debian's mingw-w64 (posix threads):
#   cmake -S . -B build-windows -G Ninja -DCMAKE_TOOLCHAIN_FILE=tools/mingw-w64-x86_64.cmake
# Only the foundation, persistence and parameters build for Windows here; the
# programs link statically, so wine64 runs them without DLLs beside them.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
# The tests run each program under Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/lib/wine/wine64)
