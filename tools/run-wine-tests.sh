#!/usr/bin/env bash
# Runs every Windows test binary of a MinGW build under the Wine of the
# build's bitness (x86_64: wine64; i686: 32-bit Wine, see tools/wine32.sh), in
# a throw-away prefix so nothing leaks between runs or into the user's own
# Wine setup.
set -euo pipefail
build=${1:?usage: run-wine-tests.sh <mingw build dir>}
tools=$(cd "$(dirname "$0")" && pwd)
# A hung program under emulation must not hold up the whole run.
timeout=${FFDRV_WINE_TEST_TIMEOUT:-900}

# The shipping DLL, not the virtual-device build made for the install test.
dll=$(find "$build" -name svjoyff.dll ! -path '*virtual-devices*' | head -n 1)
if [ -z "$dll" ]; then
  echo "no svjoyff.dll under $build" >&2
  exit 1
fi

# The PE header's machine field tells which Wine the build needs.
pe_machine() {
  local pe
  pe=$(od -An -tu4 -j60 -N4 "$1" | tr -d ' ')
  od -An -tx2 -j$((pe + 4)) -N2 "$1" | tr -d ' '
}
case $(pe_machine "$dll") in
  8664)
    arch=x86_64
    export WINEARCH=win64
    wine_cmd=(wine)
    server_cmd=(wineserver)
    ;;
  014c)
    arch=i686
    "$tools/wine32.sh" setup
    export WINEARCH=win32
    wine_cmd=("$tools/wine32.sh" run)
    server_cmd=("$tools/wine32.sh" server)
    echo "32-bit Wine: $("$tools/wine32.sh" mode)"
    ;;
  *)
    echo "$dll is neither an x86_64 nor an i686 DLL" >&2
    exit 1
    ;;
esac

# win PROGRAM [ARG...] runs a Windows program with the Wine of this bitness.
win() { "${wine_cmd[@]}" "$@"; }
winesrv() { "${server_cmd[@]}" "$@"; }

export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
export WINEPREFIX=$(mktemp -d /tmp/ffdrv-wine.XXXXXX)
trap 'winesrv -k >/dev/null 2>&1 || true; rm -rf "$WINEPREFIX"' EXIT
# One server for the whole run keeps Wine's own services alive between the
# programs, which saves seconds per program under emulation.
start=$SECONDS
winesrv -p
win wineboot -i >/dev/null 2>&1 || true
echo "fresh $arch prefix in $((SECONDS - start)) s"
# Tests that need the DLL find it through FFDRV_MODULE (a Windows path).
FFDRV_MODULE=$(win winepath -w "$dll" 2>/dev/null | tr -d '\r')
export FFDRV_MODULE

passed=0
failed=()
# run_test LABEL PROGRAM [ARG...]: one Windows program; its exit status decides.
run_test() {
  local label=$1
  shift
  echo "== wine $arch $label"
  if timeout -k 10 "$timeout" "${wine_cmd[@]}" "$@"; then
    echo "   passed"
    passed=$((passed + 1))
  else
    echo "   FAILED: $label"
    failed+=("$label")
  fi
}

# wine_fresh_*_test.exe binaries change the machine (install, uninstall): each
# gets a prefix of its own, made and thrown away around it.
mapfile -t tests < <(find "$build" \( -name '*_tests.exe' -o -name 'wine_*_test.exe' \) ! -name 'wine_fresh_*' | sort)
mapfile -t fresh < <(find "$build" -name 'wine_fresh_*_test.exe' | sort)
if [ ${#tests[@]} -eq 0 ]; then
  echo "no Windows test binaries under $build" >&2
  exit 1
fi
for t in "${tests[@]}"; do
  run_test "$t" "$t" --gtest_brief=1
done
for t in "${fresh[@]}"; do
  started=$SECONDS
  if (
    export WINEPREFIX=$(mktemp -d /tmp/ffdrv-wine-fresh.XXXXXX)
    trap 'winesrv -k >/dev/null 2>&1 || true; rm -rf "$WINEPREFIX"' EXIT
    winesrv -p
    win wineboot -i >/dev/null 2>&1 || true
    echo "== wine $arch $t (fresh prefix)"
    timeout -k 10 "$timeout" "${wine_cmd[@]}" "$t" --gtest_brief=1
  ); then
    echo "   passed ($((SECONDS - started)) s with the prefix)"
    passed=$((passed + 1))
  else
    echo "   FAILED: $t (fresh prefix)"
    failed+=("$t (fresh prefix)")
  fi
done

echo "Windows tests under Wine ($arch) took $((SECONDS - start)) s"
echo "$arch: $passed passed, ${#failed[@]} failed"
for f in "${failed[@]}"; do echo "   failed: $f"; done
[ ${#failed[@]} -eq 0 ]
