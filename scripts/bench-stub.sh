#!/usr/bin/env bash
# Benchmark of the launch stub under Wine: wall time from starting the stub
# to its launcher's exit, for a plain-JSON title and for a container title,
# against a minimal program that only starts the same launcher through the
# shell, interleaved, with the minimal program against itself as the control;
# medians and their ratios; and the size of the stub executable. Targets:
# plain-JSON ratio <= 1.05, size <= 300 KiB (the size is also a test).
#   scripts/bench-stub.sh [runs]          (default 101)
# Environment: KVO_BUILD_DIR (default build/windows).
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$(pwd)
BUILD_DIR=${KVO_BUILD_DIR:-build/windows}
RUNS=${1:-101}

scripts/deps.sh
cmake --preset windows -B "$BUILD_DIR" >/dev/null
STUB_NAME=$(sed -n 's/^KVO_STUB_NAME:STRING=//p' "$BUILD_DIR/CMakeCache.txt")
STUB_NAME=${STUB_NAME:-PlayGame}
cmake --build "$BUILD_DIR" -j2 --target stub_bench
BIN="$BUILD_DIR/bin"

# shellcheck source=wine-env.sh
source scripts/wine-env.sh "$ROOT/build/wine-bench"
kvo_wine_start || true  # a server already running for this prefix is fine
trap kvo_wine_stop EXIT

echo "=== $STUB_NAME.exe against a minimal shell launch, $RUNS interleaved runs each"
out=$(wine "$BIN/stub_bench.exe" "$RUNS")
echo "$out"
size=$(stat -c %s "$BIN/$STUB_NAME.exe")
echo "size of $STUB_NAME.exe:        $size bytes ($((size / 1024)) KiB)"
ratio=$(sed -n 's/^ratio plain-JSON stub \/ minimal: *\([0-9.]*\).*/\1/p' <<<"$out")
awk -v r="$ratio" 'BEGIN { exit !(r <= 1.05) }' && echo "plain-JSON ratio target (<= 1.05): met" ||
  echo "plain-JSON ratio target (<= 1.05): missed"
[ "$size" -le $((300 * 1024)) ] && echo "size target (<= 300 KiB): met" || echo "size target (<= 300 KiB): missed"
rm -rf "$BIN/stub bench work"
