#!/usr/bin/env bash
# End-to-end benchmark of `zynecg analyse` on a 24-hour recording: the MLII
# lead of all 48 MIT-BIH Arrhythmia records joined (31.2 M int16 samples at
# 360 Hz, built once from ../shared/data/mitdb), read, resampled, detected,
# HRV and JSON. Prints the median wall and CPU time (user + system) and
# peak resident memory of several runs, as /usr/bin/time measures them,
# and the median wall time of each stage as the tool reports it.
# Usage: bench/holter.sh [runs]     (ZYN_BUILD_DIR: build folder, default build)
#   Skips (exit 0) when the MIT-BIH folder is absent.
set -euo pipefail
cd "$(dirname "$0")/.."

runs=${1:-5}
build_dir=${ZYN_BUILD_DIR:-build}
mitdb=${ZYN_DATA_DIR:-../shared/data}/mitdb
if [ ! -f "$mitdb/100.hea" ]; then
  echo "holter: no MIT-BIH records in $mitdb, skipped"
  exit 0
fi
cmake --build "$build_dir" -j "${ZYN_JOBS:-2}" --target zynecg make_holter_file >/dev/null
work="$build_dir/holter"
file="$work/mitdb48-mlii-360hz.i16"
mkdir -p "$work"
[ -f "$file" ] || "$build_dir/bench/make_holter_file" "$mitdb" "$file"

for ((i = 1; i <= runs; i++)); do
  /usr/bin/time -f "%e %U %S %M" -o "$work/time-$i.txt" \
    "$build_dir/tools/zynecg/zynecg" analyse "$file" --fs 360 --json "$work/result.json" >"$work/summary.txt"
  python3 - "$work/result.json" >"$work/stages-$i.txt" <<'PY'
import json, sys
t = json.load(open(sys.argv[1]))["timingsSeconds"]
print(t["readAndResample"], t["stretches"], t["mergeAndHrv"])
PY
done
cat "$work/summary.txt"
python3 - "$work" "$runs" <<'PY'
import statistics, sys
work, runs = sys.argv[1], int(sys.argv[2])
times = [list(map(float, open(f"{work}/time-{i}.txt").read().split())) for i in range(1, runs + 1)]
stages = [list(map(float, open(f"{work}/stages-{i}.txt").read().split())) for i in range(1, runs + 1)]
med = lambda xs: statistics.median(xs)
wall, cpu = med([t[0] for t in times]), med([t[1] + t[2] for t in times])
print(f"runs: {runs}")
print(f"wall time:  median {wall:.2f} s (min {min(t[0] for t in times):.2f}, max {max(t[0] for t in times):.2f})")
print(f"CPU time:   median {cpu:.2f} s user+system (user {med([t[1] for t in times]):.2f}, system {med([t[2] for t in times]):.2f})")
print(f"peak RSS:   median {med([t[3] for t in times]) / 1024:.0f} MB")
names = ["read and resample", "stretches (detection, all threads)", "merge, HRV, spectrum, table"]
for k, name in enumerate(names):
    print(f"  stage {name}: median {med([s[k] for s in stages]):.3f} s wall")
rest = med([t[0] - sum(s) for t, s in zip(times, stages)])
print(f"  rest (start, summary, JSON written): median {rest:.3f} s wall")
PY
