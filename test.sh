#!/usr/bin/env bash
# Builds the project and runs every test (C++, C, Java, tools) through CTest.
# Usage: ./test.sh [extra cmake -D options]
#   ZYN_BUILD_DIR   build folder (default: build)
#   ZYN_CTEST_ARGS  arguments for one ctest run instead of the two (for example "-L spark")
set -euo pipefail
cd "$(dirname "$0")"

bash scripts/install-deps.sh

build_dir=${ZYN_BUILD_DIR:-build}
jobs=${ZYN_JOBS:-2}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZYN_WARNINGS_AS_ERRORS=ON "$@" >/dev/null
cmake --build "$build_dir" -j "$jobs"
# The fast tests first, then the Spark ones (label spark: Spark in local mode,
# Maven fetching Spark on the first run); ZYN_CTEST_ARGS replaces that order.
if [ -n "${ZYN_CTEST_ARGS:-}" ]; then
  # shellcheck disable=SC2086
  ctest --test-dir "$build_dir" --output-on-failure -j "$jobs" ${ZYN_CTEST_ARGS}
else
  ctest --test-dir "$build_dir" --output-on-failure -j "$jobs" -LE spark
  ctest --test-dir "$build_dir" --output-on-failure -L spark --no-tests=ignore
fi
