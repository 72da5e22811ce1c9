#!/usr/bin/env bash
# Installs what is missing, checks the C++ files' format, builds every
# configuration and runs every test:
# native, native under ASan+UBSan, the Windows build under Wine, and a short
# smoke run of each fuzzer.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$(pwd)
scripts/deps.sh
FUZZ_SECONDS=${FUZZ_SECONDS:-20}

step() { echo; echo "=== $* ($(date +%T)) ==="; }

step "format (.clang-format over the tracked C++ files)"
scripts/check-format.sh

step "native build and tests"
cmake --preset native >/dev/null
cmake --build --preset native
ctest --preset native

step "native tests under AddressSanitizer + UndefinedBehaviorSanitizer"
cmake --preset native-asan >/dev/null
cmake --build --preset native-asan
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --preset native-asan

step "Windows build and tests under Wine"
cmake --preset windows >/dev/null
cmake --build --preset windows
source scripts/wine-env.sh
kvo_wine_start
trap kvo_wine_stop EXIT
ctest --preset windows
kvo_wine_stop
trap - EXIT

step "fuzz smoke runs (every target, sharing about 4 x ${FUZZ_SECONDS}s)"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
scripts/fuzz-smoke.sh "$FUZZ_SECONDS"

if [ -x scripts/bench-smoke.sh ]; then
  step "benchmarks"
  scripts/bench-smoke.sh
fi
step "release with a throw-away signing certificate, and two clean builds compared"
tests/release/release_test.sh
scripts/repro-check.sh

echo; echo "All tests passed."
