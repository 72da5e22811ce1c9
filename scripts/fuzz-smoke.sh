#!/usr/bin/env bash
# Runs every built fuzzer for a few seconds over its seed corpus; any crash,
# leak or timeout fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."
SECONDS_EACH=${1:-20}
shopt -s nullglob
found=0
for f in build/fuzz/bin/fuzz_*; do
  name=$(basename "$f")
  seeds="fuzz/corpus/${name#fuzz_}"
  work=$(mktemp -d)
  [ -d "$seeds" ] && cp -r "$seeds"/. "$work"/ 2>/dev/null || true
  echo "--- $name (${SECONDS_EACH}s)"
  "$f" -max_total_time="$SECONDS_EACH" -timeout=10 -rss_limit_mb=2048 -print_final_stats=0 \
       -artifact_prefix="build/fuzz/${name}-" "$work" 2>build/fuzz/${name}.log || {
    tail -40 build/fuzz/${name}.log; rm -rf "$work"; exit 1; }
  grep -E '^Done|#[0-9]+.*DONE' build/fuzz/${name}.log | tail -1 || true
  rm -rf "$work"
  found=1
done
[ $found -eq 1 ] || echo "no fuzzers built"
