#!/usr/bin/env bash
# Sets everything up, builds, and plays a table set to 127.0.0.1:5004 until Ctrl-C. Further arguments go to
# `servicemux play`, for example: ./demo.sh --duration 10
set -euo pipefail
cd "$(dirname "$0")"
./build.sh release
exec build/bin/servicemux play examples/dvb-t.json --to 127.0.0.1:5004 "$@"
