#!/usr/bin/env bash
# Link step of the stub executable (see CMakeLists.txt), run as the compiler
# driver's -wrapper: usage link_with_lld.sh LD_LLD PROGRAM ARGS...
# Every subprogram runs unchanged except collect2, whose linker is replaced
# by LLD with the same arguments (LLD takes GNU ld's, bar the plug-in ones).
set -euo pipefail
lld=$1
shift
case "${1##*/}" in
  collect2 | collect2.exe) shift ;;
  *) exec "$@" ;;
esac
args=()
while [ $# -gt 0 ]; do
  case "$1" in
    -plugin) shift ;;     # the LTO plug-in and its file name
    -plugin-opt=*) ;;
    *) args+=("$1") ;;
  esac
  shift
done
exec "$lld" "${args[@]}"
