#!/usr/bin/env bash
# Runs every Windows test binary of a MinGW build under Wine, in a throw-away
# prefix so nothing leaks between runs or into the user's own Wine setup.
set -euo pipefail
build=${1:?usage: run-wine-tests.sh <mingw build dir>}
export WINEDEBUG=-all
export WINEPREFIX=$(mktemp -d /tmp/ffdrv-wine.XXXXXX)
trap 'wineserver -k >/dev/null 2>&1 || true; rm -rf "$WINEPREFIX"' EXIT
export WINEDLLOVERRIDES="mscoree,mshtml="
wineboot -i >/dev/null 2>&1 || true
wineserver -w || true

status=0
mapfile -t tests < <(find "$build" -name '*_tests.exe' -o -name 'wine_*_test.exe' | sort)
if [ ${#tests[@]} -eq 0 ]; then
  echo "no Windows test binaries under $build" >&2
  exit 1
fi
for t in "${tests[@]}"; do
  echo "== wine $t"
  # Tests that need the DLL find it through FFDRV_MODULE (a Windows path).
  dll=$(find "$build" -name svjoyff.dll | head -n 1)
  if FFDRV_MODULE="$(winepath -w "$dll" 2>/dev/null)" wine "$t" --gtest_brief=1; then
    echo "   passed"
  else
    echo "   FAILED: $t"
    status=1
  fi
done
exit $status
