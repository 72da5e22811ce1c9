#!/usr/bin/env bash
# A longer fuzzing campaign: every fuzzer in turn, on one core, sharing the
# given time evenly. Corpora are kept between campaigns and seeded from
# fuzz/corpus/; crashes, leaks, timeouts and out-of-memory inputs are saved
# and fail the campaign. Ends with the executions of each target.
#
# Usage: scripts/fuzz-campaign.sh MINUTES
# KVO_FUZZ_CAMPAIGN_DIR (default build/fuzz-campaign) holds corpus/<target>/,
# crashes/<target>/ and logs/<target>.log. Keep it outside fuzz/: the seed
# corpora in the repository stay small on purpose.
set -euo pipefail
cd "$(dirname "$0")/.."
MINUTES=${1:-}
if ! [[ "$MINUTES" =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: $0 MINUTES   (the whole campaign's time, shared by all targets)" >&2
  exit 2
fi
DIR=${KVO_FUZZ_CAMPAIGN_DIR:-build/fuzz-campaign}

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz >/dev/null

shopt -s nullglob
targets=(build/fuzz/bin/fuzz_*)
if [ ${#targets[@]} -eq 0 ]; then
  echo "no fuzzers built" >&2
  exit 1
fi
SECONDS_EACH=$(( MINUTES * 60 / ${#targets[@]} ))
[ "$SECONDS_EACH" -ge 1 ] || SECONDS_EACH=1
echo "${#targets[@]} targets, ${SECONDS_EACH}s each"

failed=()
summary=()
for f in "${targets[@]}"; do
  name=$(basename "$f")
  target=${name#fuzz_}
  corpus="$DIR/corpus/$target"
  crashes="$DIR/crashes/$target"
  log="$DIR/logs/$target.log"
  mkdir -p "$corpus" "$crashes" "$DIR/logs"
  seeds=()
  [ -d "fuzz/corpus/$target" ] && seeds=("fuzz/corpus/$target/")
  echo "--- $name (${SECONDS_EACH}s)"
  status=0
  # One plain process (no -jobs, which would log to fuzz-N.log in the current
  # folder). New inputs go to the first folder only; the seeds are only read.
  "$f" -max_total_time="$SECONDS_EACH" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
       -artifact_prefix="$crashes/" "$corpus" "${seeds[@]}" >"$log" 2>&1 || status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
  units=$(find "$corpus" -type f | wc -l)
  line=$(printf '%-22s %12s runs %8s exec/s %7s corpus files' "$target" "${runs:-?}" "${rate:-?}" "$units")
  if [ "$status" -ne 0 ]; then
    failed+=("$target")
    line="$line   FAILED (exit $status)"
    grep -E '^==[0-9]+==|^SUMMARY|Test unit written' "$log" | tail -5 || true
  fi
  echo "$line"
  summary+=("$line")
done

echo
echo "=== executions per target (${SECONDS_EACH}s each)"
printf '%s\n' "${summary[@]}"
if [ ${#failed[@]} -gt 0 ]; then
  echo "failed: ${failed[*]}; inputs saved under $DIR/crashes/" >&2
  exit 1
fi
