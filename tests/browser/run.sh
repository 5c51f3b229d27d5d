#!/usr/bin/env bash
# Writes the HTML reports of the bundled 10-minute excerpt and of a 24-hour
# recording (all 48 MIT-BIH records joined, the file of bench/holter.sh),
# installs playwright-core from npm into the work folder (never a browser:
# the system's Chromium is used) and runs report.test.mjs on both. Screenshots land in WORK/screenshots.
# Exit status 77 (skipped) when Chromium or node is absent.
set -euo pipefail

while [ $# -gt 0 ]; do
  case "$1" in
    --work) work=$2 ;; --zynecg) zynecg=$2 ;; --day-tool) day_tool=$2 ;; --day-file) day=$2 ;;
    --source) source=$2 ;; --data) data=$2 ;; --chromium) chromium=$2 ;;
    *) echo "run.sh: unknown option $1" >&2; exit 2 ;;
  esac
  shift 2
done
skip() { echo "SKIPPED: $*"; exit 77; }
# A Chromium installed after the build folder was configured is found too.
[ -n "${chromium:-}" ] && [ -x "$chromium" ] || chromium=$(command -v chromium || command -v chromium-browser || true)
[ -n "$chromium" ] || skip "Chromium is not installed (ZYN_WITH_CHROMIUM=1 scripts/install-deps.sh)"
command -v node >/dev/null && command -v npm >/dev/null || skip "node and npm are not installed"

here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$work/screenshots"
# playwright-core as locked in package-lock.json, installed once per build
# folder; PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD keeps npm from fetching a browser.
for f in package.json package-lock.json report.test.mjs; do
  cmp -s "$here/$f" "$work/$f" || cp "$here/$f" "$work/$f"
done
if [ ! -f "$work/node_modules/playwright-core/package.json" ] || [ "$work/package-lock.json" -nt "$work/node_modules" ]; then
  (cd "$work" && PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund --loglevel=error)
fi

reports=()
"$zynecg" analyse "$source/data/mitdb-100-excerpt.hea" --report "$work/excerpt.html" >/dev/null
reports+=("excerpt=$work/excerpt.html")
if [ -f "$data/mitdb/100.hea" ] && { [ -s "$day" ] || [ -n "$day_tool" ]; }; then
  mkdir -p "$(dirname "$day")"
  if [ ! -s "$day" ]; then
    "$day_tool" "$data/mitdb" "$day.tmp.$$" >/dev/null && mv "$day.tmp.$$" "$day"
  fi
  rm -f "$work/day.html"
  "$zynecg" analyse "$day" --fs 360 --raw-type int16 --gain 200 --report "$work/day.html" >/dev/null || true
  [ -s "$work/day.html" ] || { echo "run.sh: no report written for $day" >&2; exit 1; }
  reports+=("day=$work/day.html")
else
  echo "no MIT-BIH in $data/mitdb or no make_holter_file (benchmarks off): the 24-hour report is not checked"
fi
cd "$work"
node report.test.mjs --chromium "$chromium" --screenshots "$work/screenshots" "${reports[@]}"
