#!/usr/bin/env bash
# Sets up what the program alone needs, builds it, and plays an example to 127.0.0.1:5004 until Ctrl-C:
# ./demo.sh [dvb-t|atsc|scrambled]. Further arguments go to `servicemux play`, for example: ./demo.sh atsc --duration 10
set -euo pipefail
cd "$(dirname "$0")"
example=dvb-t
if [[ ${1:-} =~ ^[^-] ]]; then
  example=$1
  shift
fi
if [ ! -f "examples/$example.json" ]; then
  echo "demo.sh: no example '$example', there are:" $(basename -s .json examples/*.json) >&2
  exit 2
fi
scripts/setup.sh build
# A build directory that is there already may hold more than the program needs: it is left as it is.
[ -f build/build.ninja ] || cmake --preset release -DSERVICEMUX_TESTS=OFF -DSERVICEMUX_BENCHMARKS=OFF
cmake --build build --target servicemux_cli
exec build/bin/servicemux play "examples/$example.json" --to 127.0.0.1:5004 "$@"
