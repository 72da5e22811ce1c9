#!/usr/bin/env bash
# Fails when a tracked C++ file differs from what .clang-format makes of it;
# with --fix, formats them in place instead.
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files -- '*.cpp' '*.h' '*.c')
[ ${#files[@]} -gt 0 ] || exit 0
if [ "${1:-}" = --fix ]; then
  clang-format -i -- "${files[@]}"
  exit 0
fi
report=$(mktemp)
trap 'rm -f "$report"' EXIT
if ! clang-format --dry-run -Werror -- "${files[@]}" 2>"$report"; then
  grep -E '^[^ ].*: error:' "$report" | cut -d: -f1 | sort | uniq -c | sed 's/^/  /' >&2
  echo "check-format: the files above differ from .clang-format (lines per file); run scripts/check-format.sh --fix" >&2
  exit 1
fi
echo "check-format: ${#files[@]} files formatted as .clang-format says"
