#!/usr/bin/env bash
# Builds the fuzz harnesses (preset fuzz, clang) and runs each for a bounded
# time on its seed corpus. Any crash, leak, sanitizer report, timeout or
# out-of-memory fails the run; the input that did it is left in
# build/fuzz/runs/ and the script exits non-zero.
#   scripts/fuzz.sh [seconds per harness] [harness ...]
#   scripts/fuzz.sh --seeds     rewrites fuzz/corpus/ from the library's writers
set -euo pipefail
cd "$(dirname "$0")/.."

source scripts/deps.sh
zel_need_clang
zel_need_packages zlib1g-dev
cmake --preset fuzz -DCMAKE_CXX_COMPILER_LAUNCHER="$(command -v ccache || true)" >/dev/null
cmake --build --preset fuzz -j"$(nproc)" >/dev/null
bin=build/fuzz/fuzz

if [ "${1:-}" = "--seeds" ]; then
  for h in "$bin"/zel_fuzz_*; do
    name="${h##*/zel_fuzz_}"
    rm -rf "fuzz/corpus/$name" && mkdir -p "fuzz/corpus/$name"
    ZEL_FUZZ_SEEDS="fuzz/corpus/$name" "$h"
  done
  echo "seeds written to fuzz/corpus/"
  exit 0
fi

seconds="${1:-10}"
shift || true
harnesses=("$@")
if [ ${#harnesses[@]} -eq 0 ]; then
  for h in "$bin"/zel_fuzz_*; do harnesses+=("${h##*/zel_fuzz_}"); done
fi

# Regression inputs of the normal tests, fed to the harness that reads them
# behind the choice byte that selects that reader.
extra_inputs() {
  case "$1" in
    rc_script) for f in tests/corpus/rc_script/*; do echo "00 $f"; done ;;
    points)
      for f in tests/corpus/point_index/plane_*; do echo "00 $f"; done
      for f in tests/corpus/point_index/space_*; do echo "01 $f"; done ;;
  esac
}

# The file readers rewrite a scratch file per input: keep it in memory.
scratch_root=/tmp
[ -d /dev/shm ] && [ -w /dev/shm ] && scratch_root=/dev/shm
TMPDIR="$(mktemp -d "$scratch_root/zelfuzz.XXXXXX")"
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
runs=build/fuzz/runs
rm -rf "$runs"
mkdir -p "$runs"
printf '%-14s %10s %12s\n' harness runs "runs/s"
for name in "${harnesses[@]}"; do
  corpus="$runs/$name"
  mkdir -p "$corpus"
  cp fuzz/corpus/"$name"/* "$corpus"/
  n=0
  while read -r choice file; do
    [ -f "$file" ] || continue
    { printf "\\x$choice"; cat "$file"; } > "$corpus/regression_$n"
    n=$((n + 1))
  done < <(extra_inputs "$name")
  log="$runs/$name.log"
  # Mutations stay small, but no kept input may be cut short by the limit.
  max_len=4096
  largest=$(find "$corpus" -type f -printf '%s\n' | sort -n | tail -n 1)
  [ "${largest:-0}" -gt "$max_len" ] && max_len=$largest
  if ! ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
      "$bin/zel_fuzz_$name" -max_total_time="$seconds" -timeout=5 -rss_limit_mb=2048 -malloc_limit_mb=256 \
      -max_len="$max_len" -print_final_stats=1 -artifact_prefix="$runs/$name-" "$corpus" >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    echo "fuzz: harness $name failed (log $log, input in $runs/)" >&2
    exit 1
  fi
  total=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
  printf '%-14s %10s %12s\n' "$name" "$total" "$rate"
done
echo "fuzz: ${#harnesses[@]} harnesses, ${seconds} s each, no report"
