#!/usr/bin/env bash
# Analyses every ECG recording under INPUT (WFDB records by their .hea, EDF/EDF+
# and CSV files, subfolders included) with Apache Spark and writes one row per
# recording as Parquet and CSV under OUTPUT (OUTPUT/results.parquet,
# OUTPUT/results.csv; with --beats also one row per beat in OUTPUT/beats.*).
#
# Usage: scripts/spark-analyse.sh INPUT OUTPUT [--master URL] [--mode qrs|hrv|both]
#                                 [--window S] [--beats]
#   --master  local[*] (every core of this machine) unless given, e.g.
#             spark://host:7077 for a standalone cluster; the application jar,
#             native libraries inside, is shipped to the executors.
#   ZYN_BUILD_DIR  CMake build folder (default: build); built when missing.
#   ZYN_DRIVER_MEMORY  heap of the driver (default: 2g).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

if [ $# -lt 2 ]; then
  sed -n '2,13s/^# \{0,1\}//p' "$0" >&2
  exit 2
fi
input=$1
output=$2
shift 2
master="local[*]"
rest=()
while [ $# -gt 0 ]; do
  case $1 in
    --master) [ $# -ge 2 ] || { echo "spark-analyse: --master needs a URL" >&2; exit 2; }
              master=$2; shift 2 ;;
    *) rest+=("$1"); shift ;;
  esac
done

# The application jar and the class path of Spark, built once.
jar=$(bash "$root/scripts/spark-build.sh")
classpath=$(cat "$(dirname "$jar")/classpath.txt")

# jvm.options: what Spark's own launcher adds on Java 17.
exec java @"$root/java/spark/jvm.options" -Xmx"${ZYN_DRIVER_MEMORY:-2g}" \
  -Dspark.jars="$jar" -Dspark.ui.showConsoleProgress=false \
  -Dlog4j2.configurationFile="$root/java/spark/log4j2.properties" \
  -cp "$jar:$classpath" com.zyn.zynsolver.spark.AnalyseRecordings \
  "$input" "$output" --master "$master" ${rest[@]+"${rest[@]}"}
