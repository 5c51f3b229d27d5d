#!/usr/bin/env bash
# The main job: installs what is missing, builds the library and the zynecg
# tool, and analyses the bundled 10-minute ECG excerpt (MIT-BIH record 100),
# printing the summary and writing out/report.html and out/result.json.
# Usage: ./run.sh [extra zynecg analyse options, e.g. --mode qrs]
#   ZYN_BUILD_DIR   build folder (default: build)
set -euo pipefail
cd "$(dirname "$0")"

bash scripts/install-deps.sh

build_dir=${ZYN_BUILD_DIR:-build}
jobs=${ZYN_JOBS:-2}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build_dir" -j "$jobs" --target zynecg

mkdir -p out
"$build_dir/tools/zynecg/zynecg" analyse data/mitdb-100-excerpt.hea \
  --report out/report.html --json out/result.json "$@"
echo
echo "Report: out/report.html    Results: out/result.json"
