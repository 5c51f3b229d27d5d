#!/usr/bin/env bash
# Builds what the Spark runner needs, when missing or older than the sources,
# and prints the path of the application jar: the native libraries and the
# zynsolver jar (CMake), com.zyn:zynsolver:1.5.4 in the local Maven repository,
# then java/spark as zynsolver-spark-1.5.4-all.jar with Spark's class path
# beside it (classpath.txt).
#   ZYN_BUILD_DIR  CMake build folder (default: build)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$root/${ZYN_BUILD_DIR:-build}
out=$build_dir/java/spark-maven
app_jar=$out/zynsolver-spark-1.5.4-all.jar

newest_source=$(find "$root/src" "$root/java/src" "$root/java/spark/src" "$root/java/spark/pom.xml" \
  -newer "$app_jar" -print -quit 2>/dev/null || true)
if [ -f "$app_jar" ] && [ -f "$out/classpath.txt" ] && [ -z "$newest_source" ]; then
  echo "$app_jar"
  exit 0
fi

{
  bash "$root/scripts/install-deps.sh"
  if [ ! -f "$build_dir/CMakeCache.txt" ]; then
    cmake -S "$root" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  fi
  cmake --build "$build_dir" -j "${ZYN_JOBS:-2}" --target zynsolver_bundled_jar
  mvn -q -B -ntp install:install-file -Dfile="$build_dir/java/zynsolver-1.5.4.jar" \
    -DpomFile="$root/java/pom.xml"
  mvn -q -B -ntp -f "$root/java/spark/pom.xml" -Dzyn.build.dir="$out" -DskipTests package
  mvn -q -B -ntp -f "$root/java/spark/pom.xml" -Dzyn.build.dir="$out" dependency:build-classpath \
    -Dmdep.includeScope=compile -Dmdep.outputFile="$out/classpath.txt"
} >&2
echo "$app_jar"
