# Sourced by the scripts that run Windows programs: a private, booted Wine
# prefix reporting Windows 10. Usage: source scripts/wine-env.sh [prefix-dir]
KVO_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
export WINEPREFIX="${1:-${WINEPREFIX_OVERRIDE:-$KVO_ROOT/build/wine}}"
export WINEDEBUG=-all
export WINEARCH=win64
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY
kvo_wine_start() {
  mkdir -p "$WINEPREFIX"
  # Background services must not inherit the caller's pipes, or ctest waits for them.
  wineserver -p >/dev/null 2>&1 </dev/null || true
  # Plain wineboot: "-i" on a prefix that the first start already made runs
  # a second service manager, and services (RpcSs) then fail to start.
  wine wineboot >/dev/null 2>&1 </dev/null || true
  if [ ! -f "$WINEPREFIX/.kvo-win10" ]; then
    wine winecfg -v win10 >/dev/null 2>&1 </dev/null
    touch "$WINEPREFIX/.kvo-win10"
  fi
}
kvo_wine_stop() {
  wineserver -k >/dev/null 2>&1 || true
}
