#!/usr/bin/env bash
# Installs what the project builds, runs, tests and measures with, on Debian 12:
# scripts/setup.sh [build] [test] [bench] [check]
set -euo pipefail

build="ccache cmake g++ libabsl-dev libboost-chrono-dev libboost-dev libboost-thread-dev libcli11-dev libdvbpsi-dev
  liblzma-dev libpcap-dev libspdlog-dev libthrift-dev libxxhash-dev ninja-build nlohmann-json3-dev pkg-config
  thrift-compiler tzdata zlib1g-dev"
test="ffmpeg gir1.2-gst-plugins-bad-1.0 gstreamer1.0-plugins-bad gstreamer1.0-tools groff-base
  iproute2 libbenchmark-dev libgmock-dev libgtest-dev procps python3 python3-gi python3-jsonschema tshark tzdata"
bench="python3-matplotlib python3-numpy"
check="clang clang-format clang-tidy git libclang-rt-14-dev"

packages=""
for group in "${@:-build}"; do
  case $group in
    build) packages+=" $build" ;;
    test) packages+=" $test" ;;
    bench) packages+=" $bench" ;;
    check) packages+=" $check" ;;
    *) echo "setup.sh: unknown group '$group': build, test, bench or check" >&2; exit 2 ;;
  esac
done

missing=""
for package in $packages; do
  dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null | grep -q '^ii' || missing+=" $package"
done
[ -n "$missing" ] || exit 0

as_root=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "setup.sh: needs root or sudo to install:$missing" >&2; exit 1; }
  as_root="sudo"
fi
echo "Installing:$missing"
$as_root apt-get update -q
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends $missing
