#!/usr/bin/env bash
# Sets up, builds and runs the benchmarks. Further arguments go to Google Benchmark, for example:
# ./bench.sh --benchmark_filter=getPacket
set -euo pipefail
cd "$(dirname "$0")"
./build.sh release
exec build/bin/servicemux_bench --benchmark_counters_tabular=true "$@"
