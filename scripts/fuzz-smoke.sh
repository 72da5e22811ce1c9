#!/usr/bin/env bash
# Runs every built fuzzer for a few seconds over its seed corpus; any crash,
# leak or timeout fails the run.
#
# Usage: scripts/fuzz-smoke.sh [SECONDS]
# SECONDS (default 20) sets the length of the whole smoke: about four times
# SECONDS, shared evenly by the targets (at least 5 seconds each), so adding
# a target does not make the smoke longer.
set -euo pipefail
cd "$(dirname "$0")/.."
SECONDS_BASE=${1:-20}
shopt -s nullglob
targets=(build/fuzz/bin/fuzz_*)
if [ ${#targets[@]} -eq 0 ]; then
  echo "no fuzzers built"
  exit 0
fi
SECONDS_EACH=$(( SECONDS_BASE * 4 / ${#targets[@]} ))
[ "$SECONDS_EACH" -ge 5 ] || SECONDS_EACH=5
for f in "${targets[@]}"; do
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
done
