#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer + UndefinedBehaviorSanitizer),
# replays every seed corpus under tests/fuzz/corpus, then fuzzes each target for a
# bounded time. Any crash, sanitizer report, leak, timeout or out-of-memory fails
# the script; the input that caused it is kept under <build>/fuzz-artifacts/.
#
# Usage: tests/fuzz/run.sh [seconds per target]
#   ZYN_FUZZ_SECONDS    seconds of fuzzing per target (default 60; 0 replays only)
#   ZYN_FUZZ_BUILD_DIR  build folder (default build-fuzz in the repository)
#   ZYN_FUZZ_TARGETS    space-separated subset of the targets
#   ZYN_BUILD_JOBS      parallel compile jobs (default 2)
set -euo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
seconds="${1:-${ZYN_FUZZ_SECONDS:-60}}"
build="${ZYN_FUZZ_BUILD_DIR:-$root/build-fuzz}"
targets="${ZYN_FUZZ_TARGETS:-fuzz_analysis fuzz_hrv_routines fuzz_emxarray fuzz_wfdb_header fuzz_wfdb_signals fuzz_wfdb_annotations fuzz_cli_readers}"

CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DZYN_FUZZ=ON -DZYN_BUILD_TESTS=OFF \
  -DZYN_BUILD_BENCH=OFF -DZYN_BUILD_JAVA=OFF -DZYN_BUILD_TOOLS=OFF \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target fuzz_targets -j "${ZYN_BUILD_JOBS:-2}"

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:allocator_may_return_null=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
common=(-rss_limit_mb=2048 -timeout=30 -print_final_stats=1)
artifacts="$build/fuzz-artifacts"
mkdir -p "$artifacts"
# The record and EDF targets write their scratch files under TMPDIR.
export TMPDIR="$build/fuzz-tmp"
rm -rf "$TMPDIR"
mkdir -p "$TMPDIR"

for t in $targets; do
  bin="$build/tests/fuzz/$t"
  corpus="$root/tests/fuzz/corpus/$t"
  if [ ! -x "$bin" ]; then
    echo "-- $t was not built (see the configure messages); skipped"
    continue
  fi
  log="$build/fuzz-logs/$t.txt"
  mkdir -p "$build/fuzz-logs" "$build/fuzz-work/$t"
  # libFuzzer replays every seed before it mutates; new inputs go to the work
  # folder, the committed corpus stays as it is.
  run=(-runs=0)
  [ "$seconds" -gt 0 ] && run=(-max_total_time="$seconds" "$build/fuzz-work/$t")
  echo "== $t: replaying $(ls "$corpus" | wc -l) seeds$([ "$seconds" -gt 0 ] && echo ", then fuzzing for $seconds s")"
  if ! "$bin" "${common[@]}" "${run[@]}" -artifact_prefix="$artifacts/$t-" "$corpus" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "!! $t: a seed or a fuzzed input fails; input in $artifacts"
    exit 1
  fi
  grep -E "^stat::(number_of_executed_units|average_exec_per_sec|peak_rss_mb)" "$log" | tr '\n' ' ' || true
  echo
done
rm -rf "$TMPDIR"
echo "== fuzzing finished: no fault"
