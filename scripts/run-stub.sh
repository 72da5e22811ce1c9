#!/usr/bin/env bash
# Builds the stub for Windows, prepares a sample game folder and runs
# PlayGame.exe under Wine, then shows what the sample launcher received.
#
# The sample: build/stub-sample/Sample Game/ holds the stub and its title.kvo
# (an encrypted container made by the project's own container code);
# build/stub-sample/Launcher/Launcher.exe is a stand-in launcher that records
# its command line. The registry value that points at it is set in a private
# Wine prefix (build/wine-sample) that reports Windows 10.
#
# Extra arguments are passed to PlayGame.exe (after -stub_log), e.g.
#   ./scripts/run-stub.sh -launchDirectly
# Environment: KVO_BUILD_DIR (default build/windows).
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$(pwd)
BUILD_DIR=${KVO_BUILD_DIR:-build/windows}
SAMPLE="$ROOT/build/stub-sample"

scripts/deps.sh

echo "=== building (windows preset: the stub and the sample helpers)"
cmake --preset windows -B "$BUILD_DIR" >/dev/null
STUB_NAME=$(sed -n 's/^KVO_STUB_NAME:STRING=//p' "$BUILD_DIR/CMakeCache.txt")
STUB_NAME=${STUB_NAME:-PlayGame}
cmake --build "$BUILD_DIR" -j2 --target kvo_stub e2e_recorder e2e_recorder_1_0_3_0 stub_pack_title
BIN="$ROOT/$BUILD_DIR/bin"
[ -d "$BIN" ] || BIN="$BUILD_DIR/bin"

echo "=== preparing the sample game folder in $SAMPLE"
rm -rf "$SAMPLE"
mkdir -p "$SAMPLE/Sample Game" "$SAMPLE/Launcher"
cp "$BIN/$STUB_NAME.exe" "$SAMPLE/Sample Game/"
cp "$BIN/e2e_recorder_1_0_3_0.exe" "$SAMPLE/Launcher/Launcher.exe"
# The game itself (principalFileName), a recording stand-in as well.
cp "$BIN/e2e_recorder.exe" "$SAMPLE/Sample Game/SampleGame.exe"
cat >"$SAMPLE/title.json" <<'EOF'
{
  "metadataVersion": 1,
  "titleId": "SAMPLE-TITLE-1",
  "friendlyName": "Sample Title",
  "principalFileName": "SampleGame.exe",
  "appdataFolderName": "Sample Title",
  "installFolderRegKey": "SOFTWARE\\Tavrin Games\\Sample Title",
  "installFolderRegValueName": "InstallDir",
  "languages": ["en", "de"],
  "gamePlatform": "default",
  "environment": "prod"
}
EOF

echo "=== starting a private Wine prefix (Windows 10)"
# shellcheck source=wine-env.sh
source scripts/wine-env.sh "$ROOT/build/wine-sample"
kvo_wine_start || true  # a server already running for this prefix is fine
trap kvo_wine_stop EXIT

(cd "$SAMPLE" && wine "$BIN/stub_pack_title.exe" title.json "Sample Game\\title.kvo")
launcher_dir=$(winepath -w "$SAMPLE/Launcher")
wine reg add 'HKLM\SOFTWARE\WOW6432Node\Tavrin Games\Launcher' /v InstallFolder /t REG_SZ \
  /d "$launcher_dir" /f >/dev/null
# The stub writes its log only into an existing folder.
local_appdata="$WINEPREFIX/drive_c/users/$(id -un)/AppData/Local"
mkdir -p "$local_appdata/Tavrin Games/Launcher"
rm -f "$local_appdata/Tavrin Games/Launcher/stub.log"

record="$SAMPLE/launcher-record.txt"
rm -f "$record"
echo "=== running $STUB_NAME.exe -stub_log $* (working directory: the game folder)"
rc=0
(cd "$SAMPLE/Sample Game" && KVO_E2E_RECORD=$(winepath -w "$record") wine "$STUB_NAME.exe" -stub_log "$@") || rc=$?
echo "exit code of $STUB_NAME.exe: $rc"

echo
echo "=== what the launcher received"
if [ -f "$record" ]; then
  sed -n 's/^program=/program:           /p; s/^commandLine=/command line:      /p; s/^cwd=/working directory: /p' "$record"
else
  echo "(the launcher was not started; see the stub log)"
fi
echo
echo "=== stub.log"
tr -d '\r' <"$local_appdata/Tavrin Games/Launcher/stub.log"
