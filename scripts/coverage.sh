#!/usr/bin/env bash
# Builds the library and its test programs with gcov instrumentation (preset
# coverage: gcc, -O0, assertions on), runs them through ctest and prints the
# line and branch coverage of zeltools/ only: the whole and one line per
# subsystem folder. Tests, benchmarks, fuzz harnesses and generated sources
# are not counted.
#   scripts/coverage.sh [floor]
# With a floor (a whole percent), exits non-zero when line coverage is below it.
# Branches the compiler adds for exception unwinding are left out of the
# branch figure: no test can take them apart from the throw they belong to.
set -euo pipefail
cd "$(dirname "$0")/.."

source scripts/deps.sh
zel_need_packages gcovr libgtest-dev libgmock-dev zlib1g-dev
floor="${1:-}"
jobs="$(nproc)"
out=build/coverage

cmake --preset coverage -DCMAKE_CXX_COMPILER_LAUNCHER="$(command -v ccache || true)" >/dev/null
cmake --build --preset coverage -j"$jobs" >/dev/null
# Counters of an earlier run would add to this one.
find "$out" -name '*.gcda' -delete
ctest --preset coverage -j"$jobs" >"$out/ctest.log" || { cat "$out/ctest.log"; exit 1; }
tail -n 3 "$out/ctest.log"

# Counters are updated atomically (the threads tests race on them otherwise
# and gcov reports counts below zero); a line gcov still garbles is skipped
# rather than failing the report. gcovr runs gcov serially: its parallel
# mode hung here.
# The build folder is given as a search path, not as the object directory, so
# that gcovr resolves the headers of each object from the folder it was
# compiled in; the templates instantiated by the tests are counted too.
gcovr_args=(--root . --filter 'zeltools/' --exclude-throw-branches
            --gcov-ignore-parse-errors --gcov-executable gcov)
gcovr "${gcovr_args[@]}" "$out" --json "$out/coverage.json" --txt "$out/coverage.txt" >/dev/null 2>"$out/gcovr.log"

# The per-folder table and the totals, from gcovr's own summary of each file.
python3 - "$out/coverage.json" "$floor" <<'EOF'
import json, sys
data = json.load(open(sys.argv[1]))
floor = sys.argv[2]
folders = {}
for f in data["files"]:
    name = f["file"]
    parts = name.split("/")
    folder = "/".join(parts[:2]) if len(parts) > 2 else parts[0]
    lines = [l for l in f["lines"] if not l.get("gcovr/noncode")]
    t = folders.setdefault(folder, [0, 0, 0, 0])
    t[0] += len(lines)
    t[1] += sum(1 for l in lines if l["count"] > 0)
    for l in lines:
        for b in l.get("branches", []):
            t[2] += 1
            t[3] += 1 if b["count"] > 0 else 0
def pct(a, b):
    return 100.0 * b / a if a else 100.0
print(f"{'folder':<24}{'lines':>16}{'line %':>9}{'branches':>18}{'branch %':>10}")
total = [0, 0, 0, 0]
for folder in sorted(folders):
    t = folders[folder]
    total = [x + y for x, y in zip(total, t)]
    print(f"{folder:<24}{t[1]:>7} / {t[0]:<6}{pct(t[0], t[1]):>8.1f}%{t[3]:>8} / {t[2]:<7}{pct(t[2], t[3]):>9.1f}%")
print(f"{'total':<24}{total[1]:>7} / {total[0]:<6}{pct(total[0], total[1]):>8.1f}%{total[3]:>8} / {total[2]:<7}{pct(total[2], total[3]):>9.1f}%")
line_pct = pct(total[0], total[1])
print(f"line coverage {line_pct:.1f} %, branch coverage {pct(total[2], total[3]):.1f} % (goal: 90 % of lines)")
if floor and line_pct < float(floor):
    print(f"line coverage {line_pct:.1f} % is below the floor of {floor} %", file=sys.stderr)
    sys.exit(1)
EOF
echo "per-file detail: $out/coverage.txt"
