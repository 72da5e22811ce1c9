#!/usr/bin/env bash
# Short runs of every benchmark, printing their figures: the JSON reader against
# RapidJSON and simdjson, metadata loading, and the stub's start-to-launch time
# under Wine. Figures are reported, not judged: a loaded CI machine is no place
# to fail a build on timing.
set -euo pipefail
cd "$(dirname "$0")/.."
echo "--- JSON reader"
scripts/bench-json.sh --benchmark_min_time=0.1 --benchmark_color=false
echo "--- metadata loading"
cmake --build build/native --target bench_metadata -j2 >/dev/null
build/native/bin/bench_metadata --benchmark_min_time=0.1 --benchmark_color=false
echo "--- launch stub under Wine"
scripts/bench-stub.sh "${STUB_BENCH_RUNS:-15}"
