#!/usr/bin/env bash
# Set-up step of `make test`: finds what the Windows half needs and is not on
# this machine (MinGW-w64 -posix compilers for x86_64 and i686, GoogleTest's
# sources for the cross builds, wine and wine64, and the 32-bit Wine of
# tools/wine32.sh), installs it with apt-get when it can (as root, or through
# `sudo -n`), and otherwise stops with the command to run.
#
# A part is recorded as skipped (in $FFDRV_SKIPPED, which `make test` reports
# at the end) only where installing is impossible here, or when the caller
# asked for it with FFDRV_WINDOWS=skip. `make demo` does not come here.
set -euo pipefail
cd "$(dirname "$0")/.."
skipped=${FFDRV_SKIPPED:-build/skipped.txt}
mkdir -p "$(dirname "$skipped")"

say() { echo "bootstrap: $*"; }
skip() {
  echo "SKIPPED: $*"
  echo "$*" >> "$skipped"
}

if [ "${FFDRV_WINDOWS:-}" = skip ]; then
  skip "the Windows half (FFDRV_WINDOWS=skip): no cross builds, no tests under Wine"
  exit 0
fi

# package, and the test that tells it is there
missing=()
need() { eval "$2" >/dev/null 2>&1 || missing+=("$1"); }
need g++-mingw-w64-x86-64-posix 'command -v x86_64-w64-mingw32-g++-posix'
need g++-mingw-w64-i686-posix 'command -v i686-w64-mingw32-g++-posix'
need googletest '[ -f /usr/src/googletest/CMakeLists.txt ]'
need wine 'command -v wine && command -v wineserver'
need wine64 '[ -x /usr/lib/wine/wine64 ] || command -v wine64'

if [ ${#missing[@]} -gt 0 ]; then
  if ! command -v apt-get >/dev/null 2>&1; then
    skip "the Windows half: needs ${missing[*]} (Debian package names) and this system has no apt-get; install the equivalents by hand"
    exit 0
  fi
  sudo=()
  if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null 2>&1 && sudo -n true 2>/dev/null; then
      sudo=(sudo -n)
    else
      cat >&2 <<EOF
bootstrap: the Windows half of make test needs: ${missing[*]}
bootstrap: install them (as root) with:

    sudo apt-get update && sudo DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends ${missing[*]}

bootstrap: then run make test again (FFDRV_WINDOWS=skip make test runs the native half only).
EOF
      exit 1
    fi
  fi
  say "installing ${missing[*]} (MinGW-w64 cross compilers, GoogleTest sources, Wine) with apt-get"
  export DEBIAN_FRONTEND=noninteractive
  "${sudo[@]}" apt-get update -qq
  "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
  say "installed ${missing[*]}"
fi

# The private 32-bit Wine needs no root: it lives in the user's cache.
rc=0
tools/wine32.sh setup || rc=$?
case $rc in
  0) ;;
  2) skip "the i686 tests under 32-bit Wine (see the wine32 line above)" ;;
  *) say "setting up the 32-bit Wine failed (tools/wine32.sh setup)"; exit 1 ;;
esac
