#!/usr/bin/env bash
# Builds the fuzz targets and runs each for some seconds, all at once: scripts/fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
scripts/setup.sh build check
cmake --preset fuzz
cmake --build --preset fuzz --target fuzz_json fuzz_capture
fuzz() {
  local target=$1
  local found=build-fuzz/corpus-$target   # new inputs go here, the kept ones are only read
  mkdir -p "$found"
  echo "fuzz_$target for $seconds s"
  build-fuzz/bin/fuzz_$target -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -verbosity=0 -artifact_prefix=build-fuzz/ "$found" "tests/fuzz/corpus/$target"
}
running=()
for target in json capture; do
  fuzz "$target" &
  running+=($!)
done
failed=0
for one in "${running[@]}"; do wait "$one" || failed=1; done
exit "$failed"
