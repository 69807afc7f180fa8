# Cross build for 64-bit Windows with mingw-w64 from a Linux host:
#
#   cmake -S . -B build/windows -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake
#   cmake --build build/windows -j2 && ctest --test-dir build/windows -j2
#
# ctest, the catalogue compiler and GoogleTest's test discovery run the
# Windows programs under Wine (CMAKE_CROSSCOMPILING_EMULATOR). Set
# WINEPREFIX to a folder of the build tree and WINEDEBUG=-all to keep Wine
# quiet and out of the user's own prefix.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ZEL_MINGW_PREFIX x86_64-w64-mingw32)
# The posix thread model: std::thread, std::mutex and thread_local, which the
# solvers' helper pool needs, are complete there.
find_program(ZEL_MINGW_CXX NAMES ${ZEL_MINGW_PREFIX}-g++-posix ${ZEL_MINGW_PREFIX}-g++ REQUIRED)
find_program(ZEL_MINGW_CC NAMES ${ZEL_MINGW_PREFIX}-gcc-posix ${ZEL_MINGW_PREFIX}-gcc REQUIRED)
set(CMAKE_CXX_COMPILER ${ZEL_MINGW_CXX})
set(CMAKE_C_COMPILER ${ZEL_MINGW_CC})
# mingw's C99 printf and scanf for everything built here, tests included,
# so that numbers are written as on other systems.
set(CMAKE_CXX_FLAGS_INIT "-D__USE_MINGW_ANSI_STDIO=1")
find_program(CMAKE_RC_COMPILER NAMES ${ZEL_MINGW_PREFIX}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${ZEL_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Packages may also come from an install prefix outside the root (the
# consumer check finds the library where it was installed).
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# The compiler's run-time libraries are linked in, so that a program or the
# DLL runs without the toolchain's DLLs beside it.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
# A DLL exports its own symbols only, not those of the run-time archives
# linked into it (a consumer's own run time would clash with them).
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -Wl,--exclude-libs,libgcc.a:libgcc_eh.a:libstdc++.a:libwinpthread.a")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static -Wl,--exclude-libs,libgcc.a:libgcc_eh.a:libstdc++.a:libwinpthread.a")

# zlib (the tests' Matrix Market reader) linked in, like the run-time libraries.
set(ZLIB_USE_STATIC_LIBS ON)

find_program(ZEL_WINE NAMES wine64 wine PATHS /usr/lib/wine /usr/lib64/wine NO_CMAKE_FIND_ROOT_PATH)
if(ZEL_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${ZEL_WINE})
endif()
