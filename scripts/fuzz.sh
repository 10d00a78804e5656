#!/usr/bin/env bash
# Fuzzes the file readers for longer than the test suite does, and reports.
#
# Usage: scripts/fuzz.sh [SECONDS]   (default 600, per target)
#
# Builds every fuzz_* program (tests/fuzz) with AddressSanitizer and UBSan
# (the debug preset) and runs each in rounds of 20000 inputs with a new
# seed per round until its time is up. A round that crashes or hangs keeps
# its input in fuzz-findings/TARGET-seed-S-run-N (replay it with
# `build/debug/tests/fuzz/fuzz_TARGET FILE`), and the next round goes on.
# Prints per target: runs, crashes, timeouts, peak memory.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
preset=${FUZZ_PRESET:-debug}
build=build/$preset

cmake --preset "$preset" >/dev/null
targets=$(sed -n 's/^tarn_fuzz_target(\([a-z_]*\).*/\1/p' tests/fuzz/CMakeLists.txt)
cmake --build --preset "$preset" --target $(printf 'fuzz_%s ' $targets) >/dev/null
mkdir -p fuzz-findings
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}

printf '%-20s %10s %8s %9s %14s\n' target runs crashes timeouts peak_rss_kb
for target in $targets; do
  program=$build/tests/fuzz/fuzz_$target
  runs=0 crashes=0 timeouts=0 peak=0 seed=1
  deadline=$((SECONDS + seconds))
  while [ $SECONDS -lt $deadline ]; do
    status=0
    /usr/bin/time -f '%M' -o "$scratch/rss" "$program" --runs 20000 --seed $seed \
      --save "$scratch" >"$scratch/out" 2>"$scratch/err" || status=$?
    rss=$(tail -n 1 "$scratch/rss")
    [ "$rss" -gt "$peak" ] 2>/dev/null && peak=$rss
    if [ $status -eq 0 ]; then
      runs=$((runs + 20000))
    else
      done_runs=$(cat "$scratch/current.run" 2>/dev/null || echo 0)
      runs=$((runs + done_runs + 1))
      finding=fuzz-findings/$target-seed-$seed-run-$done_runs
      cp "$scratch/current" "$finding"
      cp "$scratch/err" "$finding.log"
      if [ $status -eq 3 ]; then timeouts=$((timeouts + 1)); else crashes=$((crashes + 1)); fi
      echo "$target: finding in $finding (status $status)" >&2
    fi
    seed=$((seed + 1))
  done
  printf '%-20s %10d %8d %9d %14d\n' "$target" $runs $crashes $timeouts $peak
done
