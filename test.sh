#!/usr/bin/env bash
# Builds the project and runs every test (C++, C, Java, tools) through CTest.
# Usage: ./test.sh [extra cmake -D options]
#   ZYN_BUILD_DIR   build folder (default: build)
#   ZYN_CTEST_ARGS  extra arguments for ctest (for example "-L fast")
set -euo pipefail
cd "$(dirname "$0")"

bash scripts/install-deps.sh

build_dir=${ZYN_BUILD_DIR:-build}
jobs=${ZYN_JOBS:-2}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZYN_WARNINGS_AS_ERRORS=ON "$@" >/dev/null
cmake --build "$build_dir" -j "$jobs"
# shellcheck disable=SC2086
ctest --test-dir "$build_dir" --output-on-failure -j "$jobs" ${ZYN_CTEST_ARGS:-}
