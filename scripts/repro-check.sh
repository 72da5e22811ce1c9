#!/usr/bin/env bash
# Checks that the shipped Windows executables build reproducibly: clones one
# commit (default HEAD) into two temporary folders at different paths, builds
# the stub and kvotool.exe with the windows preset in each, and requires
#   - the same SHA-256 of each executable from both clones;
#   - the PE time stamp SOURCE_DATE_EPOCH when set, else the commit's time;
# then, relinking in the second clone,
#   - the time stamp SOURCE_DATE_EPOCH=1000000000 when that is set;
#   - the time stamp 0 once the clone is no git checkout any more.
# Uncommitted changes are not part of the check: commit them first.
# Usage: scripts/repro-check.sh [COMMIT]
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$(pwd)
COMMIT=$(git rev-parse --verify "${1:-HEAD}^{commit}")
TARGETS=(kvo_stub kvotool)

work=$(mktemp -d "${TMPDIR:-/tmp}/kvo-repro.XXXXXX")
trap 'rm -rf "$work"' EXIT
# Different depths and lengths, so that any path that leaks into a file shows.
dirs=("$work/a/src" "$work/second-clone/in/a/deeper/folder/src")

stamp() { python3 "$ROOT/tests/release/pe_timestamp.py" "$@"; }
fail() { echo "repro-check: FAIL: $*" >&2; exit 1; }

# build DIR LOG: configures and builds the shipped targets of the clone DIR.
build() {
  if ! (cd "$1" && cmake --preset windows && cmake --build --preset windows --target "${TARGETS[@]}") >"$2" 2>&1; then
    tail -n 30 "$2" >&2
    fail "the build in $1 failed (log above)"
  fi
}

# expect_stamp DIR VALUE WHAT: both executables of DIR carry the time stamp VALUE.
expect_stamp() {
  local exe got
  for exe in "$1"/build/windows/bin/*.exe; do
    got=$(stamp "$exe")
    [ "$got" = "$2" ] || fail "$(basename "$exe") has the time stamp $got, not $2 ($3)"
    echo "  $(basename "$exe"): time stamp $got ($3)"
  done
}

echo "=== clean builds of ${COMMIT:0:12} in two folders"
for i in 0 1; do
  git clone --quiet --shared --no-checkout "$ROOT" "${dirs[$i]}"
  git -C "${dirs[$i]}" checkout --quiet --detach "$COMMIT"
  build "${dirs[$i]}" "$work/build-$i.log"
done

names=()
for exe in "${dirs[0]}"/build/windows/bin/*.exe; do names+=("$(basename "$exe")"); done
[ ${#names[@]} -eq 2 ] || fail "expected two executables, found: ${names[*]:-none}"
for name in "${names[@]}"; do
  one=$(sha256sum <"${dirs[0]}/build/windows/bin/$name" | cut -d' ' -f1)
  two=$(sha256sum <"${dirs[1]}/build/windows/bin/$name" | cut -d' ' -f1)
  echo "  $name: $one (first clone)"
  echo "  $name: $two (second clone)"
  if [ "$one" != "$two" ]; then
    echo "  differing bytes: $(cmp -l "${dirs[0]}/build/windows/bin/$name" "${dirs[1]}/build/windows/bin/$name" | wc -l)" >&2
    fail "$name differs between the two clones"
  fi
done

if [ -n "${SOURCE_DATE_EPOCH:-}" ]; then
  expect_stamp "${dirs[0]}" "$SOURCE_DATE_EPOCH" "SOURCE_DATE_EPOCH"
else
  expect_stamp "${dirs[0]}" "$(git log -1 --format=%ct "$COMMIT")" "commit time"
fi

echo "=== relinking the second clone with SOURCE_DATE_EPOCH=1000000000"
SOURCE_DATE_EPOCH=1000000000 build "${dirs[1]}" "$work/build-sde.log"
expect_stamp "${dirs[1]}" 1000000000 "SOURCE_DATE_EPOCH"

echo "=== relinking the second clone without git"
mv "${dirs[1]}/.git" "$work/git-moved"
(unset SOURCE_DATE_EPOCH; build "${dirs[1]}" "$work/build-nogit.log")
expect_stamp "${dirs[1]}" 0 "no commit"

echo "repro-check: the shipped executables are reproducible"
