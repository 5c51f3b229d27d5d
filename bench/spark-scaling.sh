#!/usr/bin/env bash
# Recordings per second of the whole-recording analysis over the MIT-BIH
# records: a plain Java loop on 1 and 2 threads against Spark local[1] and
# local[2], over the 48 records and the same set repeated to about 100.
# Usage: bench/spark-scaling.sh [FOLDER=../shared/data/mitdb] [RECORDINGS=100]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
folder=${1:-$root/../shared/data/mitdb}
if [ ! -f "$folder/100.hea" ]; then
  echo "spark-scaling: no MIT-BIH records in $folder; skipped" >&2
  exit 0
fi
jar=$(bash "$root/scripts/spark-build.sh")
out=$(dirname "$jar")
mvn -q -B -ntp -f "$root/java/spark/pom.xml" -Dzyn.build.dir="$out" test-compile >&2
exec java @"$root/java/spark/jvm.options" -Xmx4g \
  -Dlog4j2.configurationFile="$root/java/spark/log4j2.properties" \
  -cp "$out/test-classes:$out/classes:$(cat "$out/classpath.txt")" \
  com.zyn.zynsolver.spark.ScalingBenchmark "$folder" "${2:-100}"
