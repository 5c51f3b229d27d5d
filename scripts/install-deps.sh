#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need, when missing
# (Maven fetches the Java build plugins and JUnit 5 from Maven Central on first use).
# Safe to run again: it only asks apt for what dpkg does not already have.
set -euo pipefail

packages=(
  g++ cmake make pkg-config
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  openjdk-17-jdk-headless maven
  libsoxr-dev libedf-dev nlohmann-json3-dev libcli11-dev
)
# Optional extras: clang for the libFuzzer targets, Chromium for the test that
# renders the HTML report (that test skips without it).
if [ "${ZYN_WITH_CLANG:-0}" = 1 ]; then
  packages+=(clang libclang-rt-14-dev)
fi
if [ "${ZYN_WITH_CHROMIUM:-0}" = 1 ]; then
  packages+=(chromium)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: installing ${missing[*]}" >&2
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
