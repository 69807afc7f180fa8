#!/usr/bin/env bash
# The Windows build: cross-compiled with mingw-w64 into build/windows (the
# static library, its test programs and zel_rc_compile), the suite run by
# ctest under Wine, and a consumer built with the same toolchain against the
# installed package, static and DLL, run under Wine. Release only; no
# benchmarks or fuzz.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
# libgtest-dev brings GoogleTest's sources, built here for the target.
zel_need_packages g++-mingw-w64-x86-64 wine64 libz-mingw-w64-dev libgtest-dev ccache
jobs="$(nproc)"
started=$(date +%s)

# Wine keeps its prefix inside the build tree, never in the user's home, and
# needs no display.
export WINEPREFIX="$PWD/build/windows/wine"
export WINEDEBUG=-all
wine="$(command -v wine64 || echo /usr/lib/wine/wine64)"
mkdir -p "$WINEPREFIX"
# The prefix is made once, before anything runs a Windows program.
[ -f "$WINEPREFIX/system.reg" ] || "$wine" wineboot --init >/dev/null 2>&1 || true

cmake -S . -B build/windows -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DZELTOOLS_BUILD_EXAMPLES=OFF >/dev/null
# The build lists each test program's tests by running it under Wine, which
# has been seen to exit once without a word in a fresh prefix; a second build
# retries only what failed, and a real fault fails it again.
cmake --build build/windows -j"$jobs" || cmake --build build/windows -j"$jobs"
ctest --test-dir build/windows -j"$jobs" --output-on-failure

rm -rf build/windows-install build/windows-consumer
cmake --install build/windows --prefix build/windows-install >/dev/null
cmake -S consumer -B build/windows-consumer -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/mingw-w64-x86_64.cmake" \
  -DCMAKE_PREFIX_PATH="$PWD/build/windows-install" -DCMAKE_CXX_COMPILER_LAUNCHER=ccache >/dev/null
cmake --build build/windows-consumer -j"$jobs"
"$wine" build/windows-consumer/zel_consumer.exe

# The DLL (its objects come from ccache) with its import library, and the
# same consumer linked against it, finding the DLL through WINEPATH.
rm -rf build/windows-dll-install build/windows-dll-consumer
cmake -S . -B build/windows-dll -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DBUILD_SHARED_LIBS=ON -DZELTOOLS_BUILD_TESTS=OFF \
  -DZELTOOLS_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build/windows-dll -j"$jobs"
cmake --install build/windows-dll --prefix build/windows-dll-install >/dev/null
cmake -S consumer -B build/windows-dll-consumer -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/mingw-w64-x86_64.cmake" \
  -DCMAKE_PREFIX_PATH="$PWD/build/windows-dll-install" -DCMAKE_CXX_COMPILER_LAUNCHER=ccache >/dev/null
cmake --build build/windows-dll-consumer -j"$jobs"
WINEPATH="$PWD/build/windows-dll-install/bin" "$wine" build/windows-dll-consumer/zel_consumer.exe
echo "windows stage: $(($(date +%s) - started)) s"
