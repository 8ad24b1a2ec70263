#!/usr/bin/env bash
# Sets up and builds: programs in build/bin, libraries in build/lib. Another preset: ./build.sh asan
set -euo pipefail
cd "$(dirname "$0")"
preset=${1:-release}
scripts/setup.sh build test
cmake --preset "$preset"
cmake --build --preset "$preset"
