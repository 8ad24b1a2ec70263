#!/usr/bin/env bash
# Sets up, builds and runs the benchmarks, and remakes docs/bench and the table in the README:
#   ./bench.sh                      all of them
#   ./bench.sh micro [OPTION...]    parts of the library; the options are Google Benchmark's
#   ./bench.sh wire [--quick]       what arrives on a socket, and what it costs; quick writes no files
#   ./bench.sh load                 how long large table sets take to come on air, and their memory
set -euo pipefail
cd "$(dirname "$0")"
what=${1:-all}
[ $# -eq 0 ] || shift

micro() { build/bin/servicemux_bench --benchmark_counters_tabular=true "$@"; }
wire() { /usr/bin/python3 -B bench/wire/run.py "$@"; }
load() { /usr/bin/python3 -B bench/load.py "$@"; }

case $what in
  all | micro | wire | load) ;;
  *) echo "bench.sh: unknown kind '$what': all, micro, wire or load" >&2; exit 2 ;;
esac
scripts/setup.sh bench
./build.sh release
case $what in
  all) micro; wire ;;
  *) "$what" "$@" ;;
esac
