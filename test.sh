#!/usr/bin/env bash
# Sets up, builds and runs all tests. Another preset: ./test.sh tsan
set -euo pipefail
cd "$(dirname "$0")"
preset=${1:-release}
./build.sh "$preset"
ctest --preset "$preset"
