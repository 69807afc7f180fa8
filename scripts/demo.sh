#!/usr/bin/env bash
# Builds the library and runs its demonstration program.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
zel_need_packages
cmake -S . -B build/demo -DCMAKE_BUILD_TYPE=Release -DZELTOOLS_BUILD_TESTS=OFF -DZELTOOLS_BUILD_EXAMPLES=ON >/dev/null
cmake --build build/demo -j"$(nproc)" --target zel_crash_demo
./build/demo/examples/zel_crash_demo
