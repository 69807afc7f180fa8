#!/usr/bin/env bash
# Builds the library and its command-line tool and runs the tool's
# demonstration; arguments are passed on (e.g. --lang ru).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
zel_need_packages zlib1g-dev
cmake -S . -B build/demo -DCMAKE_BUILD_TYPE=Release -DZELTOOLS_BUILD_TESTS=OFF -DZELTOOLS_BUILD_EXAMPLES=ON >/dev/null
cmake --build build/demo -j"$(nproc)" --target zeltool
# The report goes into the build folder, out of the sources.
./build/demo/tools/zeltool/zeltool demo --report build/demo/zeltool-demo-report.txt "$@"
