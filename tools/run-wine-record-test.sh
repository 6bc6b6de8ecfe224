#!/usr/bin/env bash
# The recording closed loop through the Windows DLL: the Windows ffplay plays
# a scenario with every kind of call through the virtual-device DLL under
# Wine with FFDRV_RECORD_DIR set, and the native ffplay replays the recording
# the DLL wrote: every call must return what the DLL returned (exit 0).
# The Windows build has no virtual clock, so the DLL side runs in real time.
set -euo pipefail
build=${1:?usage: run-wine-record-test.sh <mingw build dir> <native ffplay>}
native=${2:?usage: run-wine-record-test.sh <mingw build dir> <native ffplay>}
here=$(cd "$(dirname "$0")/.." && pwd)
export WINEDEBUG=-all
export WINEPREFIX=$(mktemp -d /tmp/ffdrv-wine-record.XXXXXX)
work=$(mktemp -d /tmp/ffdrv-record-loop.XXXXXX)
trap 'wineserver -k >/dev/null 2>&1 || true; rm -rf "$WINEPREFIX" "$work"' EXIT
export WINEDLLOVERRIDES="mscoree,mshtml="
wineboot -i >/dev/null 2>&1 || true
wineserver -w || true

exe=$(find "$build" -name ffplay.exe | head -n 1)
dll=$(find "$build" -path '*virtual-devices*' -name svjoyff.dll | head -n 1)
[ -n "$exe" ] && [ -n "$dll" ] || { echo "no ffplay.exe or virtual-device DLL under $build" >&2; exit 1; }
scenario="$here/tools/player/testdata/every_call.ffs"
mkdir -p "$work/rec"
FFDRV_RECORD_DIR="$(winepath -w "$work/rec")" wine "$exe" --quiet --realtime --module "$(winepath -w "$dll")" \
  --out "$(winepath -w "$work/windows")" "$(winepath -w "$scenario")" >/dev/null
recording=$(find "$work/rec" -name '*.ffs' | head -n 1)
[ -n "$recording" ] || { echo "FAILED: the DLL wrote no recording" >&2; exit 1; }
echo "recorded through the DLL: $(basename "$recording") ($(grep -c expect "$recording") calls)"
"$native" --quiet --out "$work/native" "$recording" >/dev/null
echo "replayed natively: every call returned what the DLL returned"
