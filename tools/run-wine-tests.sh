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
# wine_fresh_*_test.exe binaries change the machine (install, uninstall): each
# gets a prefix of its own, made and thrown away around it.
mapfile -t tests < <(find "$build" \( -name '*_tests.exe' -o -name 'wine_*_test.exe' \) ! -name 'wine_fresh_*' | sort)
mapfile -t fresh < <(find "$build" -name 'wine_fresh_*_test.exe' | sort)
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
for t in "${fresh[@]}"; do
  echo "== wine (fresh prefix) $t"
  started=$(date +%s)
  if (
    export WINEPREFIX=$(mktemp -d /tmp/ffdrv-wine-fresh.XXXXXX)
    trap 'wineserver -k >/dev/null 2>&1 || true; rm -rf "$WINEPREFIX"' EXIT
    wineboot -i >/dev/null 2>&1 || true
    wineserver -w || true
    wine "$t" --gtest_brief=1
  ); then
    echo "   passed ($(( $(date +%s) - started )) s with the prefix)"
  else
    echo "   FAILED: $t"
    status=1
  fi
done
exit $status
