#!/usr/bin/env bash
# Builds the native preset's JSON reader benchmark and runs it briefly:
# JsonReader against RapidJSON and simdjson on a typical metadata document and
# on the 8 MiB worst case, followed by a table of the ratios.
# BUILD_DIR overrides the build folder (default: the native preset's).
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=${BUILD_DIR:-build/native}
if [ "$BUILD_DIR" = build/native ]; then
  cmake --preset native >/dev/null
else
  cmake --preset native -B "$BUILD_DIR" >/dev/null
fi
cmake --build "$BUILD_DIR" --target bench_json_reader -j2
exec "$BUILD_DIR/bin/bench_json_reader" --benchmark_min_time=0.3 "$@"
