#!/usr/bin/env bash
# Link step of the stub executable (see CMakeLists.txt), run as the target's
# linker launcher: usage link_win32_runtime.sh COMPILER-DRIVER ARGS...
# The same link, driven by the same compiler's Win32-thread-model driver, so
# that the C++ runtime and libgcc linked in are the ones built on Win32 locks
# and thread-local storage rather than on the POSIX-threads layer.
set -euo pipefail
driver=$1
shift
case "$driver" in
  *-posix) exec "${driver%-posix}-win32" "$@" ;;
  *) exec "$driver" "$@" ;;
esac
