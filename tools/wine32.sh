#!/usr/bin/env bash
# 32-bit Wine for the i686 test binaries.
#
#   tools/wine32.sh setup             make a 32-bit Wine available (idempotent)
#   tools/wine32.sh run PROGRAM ARG…  run a Windows program in $WINEPREFIX (win32)
#   tools/wine32.sh server ARG…       that Wine's wineserver (-p, -k, -w)
#   tools/wine32.sh mode              how 32-bit programs run here: system or qemu
#
# A system 32-bit Wine is used when one runs (Debian's wine32, or the loader
# named by FFDRV_WINE32_LOADER), unless FFDRV_WINE32=private. Otherwise setup builds a private one under
# $FFDRV_WINE32_HOME (default ~/.cache/ffdrv-wine32): Debian's i386 wine32,
# libwine and wine32-preloader of exactly the installed wine64 version, the
# i386 libraries they depend on, and qemu-user from backports, fetched with a
# private apt state and sources list (the i386 architecture is never added to
# dpkg, /etc/apt and /var/lib/{apt,dpkg} are only read) and unpacked with
# dpkg-deb. Every 32-bit process, including the ones Wine starts itself, runs
# under qemu-i386: the kernels of some machines of this kind cannot execute
# 32-bit x86 code, so nothing here relies on it. Under qemu an access
# violation reaches the program as 0xC000001D rather than 0xC0000005.
#
# Exit status of setup: 0 ready, 2 impossible on this machine (the reason is
# printed; callers report the 32-bit tests as skipped), 1 any other failure.
set -euo pipefail

# Bump when the layout of the private tree changes, so old trees are rebuilt.
LAYOUT=1
HOME_DIR=${FFDRV_WINE32_HOME:-${XDG_CACHE_HOME:-${HOME:-/tmp}/.cache}/ffdrv-wine32}
ROOT=$HOME_DIR/root
STAMP=$ROOT/.ffdrv-wine32
SYSTEM_LOADER=${FFDRV_WINE32_LOADER:-/usr/lib/wine/wine}

say() { echo "wine32: $*" >&2; }
die() { say "$*"; exit 1; }
impossible() { say "cannot set up a 32-bit Wine here: $*"; exit 2; }

# Prints nothing (and succeeds) when the package is not installed.
installed_version() {
  { dpkg-query -W -f='${db:Status-Status} ${Version}\n' "$1" 2>/dev/null || true; } |
    awk '$1 == "installed" { print $2 }'
}

# A system 32-bit Wine counts only if its loader really runs: on a kernel
# without IA-32 emulation Debian's wine32 installs but cannot start.
system_wine_runs() {
  [ -x "$SYSTEM_LOADER" ] && "$SYSTEM_LOADER" --version >/dev/null 2>&1
}

private_ready() {
  [ -f "$STAMP" ] || return 1
  local want
  want="layout=$LAYOUT wine=$(installed_version wine64)"
  [ "$(head -n 1 "$STAMP")" = "$want" ]
}

mode() {
  if [ "${FFDRV_WINE32:-auto}" != private ] && system_wine_runs; then
    echo system
  elif private_ready; then
    echo qemu
  else
    echo none
  fi
}

# The Debian mirror the machine's own apt sources name for its release (not
# the security archive), with the keyring those sources trust.
mirror_of_system() {
  local codename=$1
  {
    cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null |
      awk -v c="$codename" '
        $1 == "deb" {
          opts = ""; i = 2
          if ($2 ~ /^\[/) { while ($i !~ /\]$/) { opts = opts " " $i; i++ } opts = opts " " $i; i++ }
          uri = $i; suite = $(i + 1)
          key = ""
          if (match(opts, /signed-by=[^] ]+/)) key = substr(opts, RSTART + 10, RLENGTH - 10)
          if (suite == c && uri !~ /security/) print uri, key
        }'
    for f in /etc/apt/sources.list.d/*.sources; do
      [ -f "$f" ] || continue
      # deb822: paragraphs separated by blank lines.
      awk -v c="$codename" '
        function flush() {
          if (types ~ /(^| )deb( |$)/ && uri !~ /security/ && (" " suites " ") ~ (" " c " ") && enabled != "no") {
            n = split(uri, u, " ")
            for (j = 1; j <= n; j++) print u[j], key
          }
          types = uri = suites = key = ""; enabled = "yes"
        }
        BEGIN { enabled = "yes" }
        /^[ \t]*$/ { flush(); next }
        /^#/ { next }
        { k = tolower($1); sub(/:$/, "", k); $1 = ""; sub(/^ /, "")
          if (k == "types") types = $0; else if (k == "uris") uri = $0
          else if (k == "suites") suites = $0; else if (k == "signed-by") key = $0
          else if (k == "enabled") enabled = tolower($0) }
        END { flush() }' "$f"
    done
  } | awk '$1 ~ /^(https?|file):/' | head -n 1
}

setup_private() {
  command -v apt-get >/dev/null && command -v dpkg-deb >/dev/null &&
    command -v dpkg-query >/dev/null ||
    impossible "no apt-get/dpkg-deb (not a Debian-family system)"
  [ "$(dpkg --print-architecture)" = amd64 ] ||
    impossible "the private route is for amd64 hosts (this is $(dpkg --print-architecture))"
  command -v ldconfig >/dev/null || impossible "no ldconfig"
  local codename
  codename=$(. /etc/os-release 2>/dev/null && echo "${VERSION_CODENAME:-}")
  [ -n "$codename" ] || impossible "cannot tell the Debian release from /etc/os-release"
  local line uri key
  line=$(mirror_of_system "$codename")
  [ -n "$line" ] || impossible "no Debian mirror for $codename in the apt sources"
  uri=${line%% *}
  key=${line#"$uri"}; key=${key# }
  # An inline key (deb822 allows one) cannot go into a one-line source.
  case "$key" in /*) ;; *) key=/usr/share/keyrings/debian-archive-keyring.gpg ;; esac

  local apt=$HOME_DIR/apt
  mkdir -p "$apt/state/lists/partial" "$apt/cache/archives/partial" \
    "$apt/etc/sources.list.d" "$apt/etc/preferences.d"
  : > "$apt/state/status"
  cat > "$apt/etc/sources.list" <<EOF
deb [arch=i386,amd64 signed-by=$key] $uri $codename main
deb [arch=amd64 signed-by=$key] $uri $codename-backports main
EOF
  # Everything apt writes goes under $apt; the empty status file makes apt
  # resolve the whole i386 closure instead of counting the amd64 packages.
  local -a o=(
    -o "Dir::State=$apt/state" -o "Dir::State::status=$apt/state/status"
    -o "Dir::Cache=$apt/cache" -o "Dir::Etc::SourceList=$apt/etc/sources.list"
    -o "Dir::Etc::SourceParts=$apt/etc/sources.list.d"
    -o "Dir::Etc::Preferences=$apt/etc/preferences"
    -o "Dir::Etc::PreferencesParts=$apt/etc/preferences.d"
    -o "APT::Architecture=i386" -o "APT::Architectures::=i386" -o "APT::Architectures::=amd64"
    -o "Dir::Cache::pkgcache=" -o "Dir::Cache::srcpkgcache="
    -o "APT::Get::List-Cleanup=false" -o "Debug::NoLocking=true"
  )
  [ "$(id -u)" -ne 0 ] || o+=(-o "APT::Sandbox::User=root")

  say "fetching the package index of $uri ($codename, i386 + backports) into $apt"
  apt-get "${o[@]}" -qq update || die "apt-get update of the private index failed"

  local wine_version
  wine_version=$(installed_version wine64)
  if [ -z "$wine_version" ]; then
    wine_version=$(apt-cache "${o[@]}" policy wine32:i386 | awk '/Candidate:/ { print $2 }')
    say "wine64 is not installed; using wine32 $wine_version with its own wineserver"
  fi
  [ -n "$wine_version" ] && [ "$wine_version" != "(none)" ] || die "no wine32 in the private index"

  # qemu-user 10 from backports ships static binaries; 7.2 (bookworm) is
  # unreliable with Wine and is taken only when nothing newer is there.
  local qemu_version
  qemu_version=$(apt-cache "${o[@]}" madison qemu-user:amd64 | awk -F'|' '{ gsub(/ /, "", $2); print $2 }' |
    sort -V -r | head -n 1)
  [ -n "$qemu_version" ] || die "no qemu-user in the private index"
  case "$qemu_version" in
    *:[0-7].*) say "WARNING: only qemu-user $qemu_version is available; Wine may be unreliable under it" ;;
  esac

  local archives=$apt/cache/archives
  rm -f "$archives"/*.deb
  say "downloading wine32, libwine, wine32-preloader $wine_version (i386) with their libraries, and qemu-user $qemu_version"
  apt-get "${o[@]}" -qq -y -d --no-install-recommends install \
    "wine32:i386=$wine_version" "libwine:i386=$wine_version" "wine32-preloader:i386=$wine_version" \
    >/dev/null || die "downloading the i386 packages failed"
  (cd "$archives" && apt-get "${o[@]}" -qq download "qemu-user:amd64=$qemu_version") ||
    die "downloading qemu-user failed"

  local new=$HOME_DIR/root.new old=$HOME_DIR/root.old
  rm -rf "$new" "$old"
  mkdir -p "$new"
  say "unpacking $(ls "$archives"/*.deb | wc -l) packages into $ROOT"
  local deb
  for deb in "$archives"/*_i386.deb "$archives"/*_all.deb; do
    [ -e "$deb" ] || continue
    dpkg-deb --fsys-tarfile "$deb" |
      tar -x -C "$new" --exclude=./usr/share/doc --exclude=./usr/share/man \
        --exclude=./usr/share/locale --exclude=./usr/share/info
  done
  dpkg-deb --fsys-tarfile "$archives"/qemu-user_*_amd64.deb | tar -x -C "$new" ./usr/bin/qemu-i386
  [ -x "$new/usr/lib/wine/wine" ] && [ -x "$new/usr/lib/wine/wine-preloader.static" ] &&
    [ -x "$new/usr/bin/qemu-i386" ] || die "the unpacked tree lacks wine, its preloader or qemu-i386"

  # libwine's maintainer script turns the MinGW zlib into a Wine builtin DLL;
  # nothing runs maintainer scripts here, so do the same.
  local zin=$new/usr/i686-w64-mingw32/lib/zlib1.dll
  local zout=$new/usr/lib/i386-linux-gnu/wine/i386-windows/zlib1.dll
  { head -c 64 "$zin"; printf 'Wine builtin DLL'; head -c 16 /dev/zero; tail -c +97 "$zin"; } > "$zout"

  if [ -d "$ROOT" ]; then mv "$ROOT" "$old"; fi
  mv "$new" "$ROOT"
  rm -rf "$old"

  # The tree's absolute paths are final only now. qemu sends the guest's
  # file look-ups into the tree (-L), but the guest's ld.so does not find the
  # libraries under /lib/i386-linux-gnu that way, so give it a cache that
  # names them by their real paths.
  printf '%s\n' "$ROOT/lib/i386-linux-gnu" "$ROOT/usr/lib/i386-linux-gnu" > "$ROOT/etc/ffdrv-ld.so.conf"
  ldconfig -X -C "$ROOT/etc/ld.so.cache" -f "$ROOT/etc/ffdrv-ld.so.conf"

  # Wine starts every 32-bit process (its own services too) by executing
  # wine-preloader beside its loader, and the wineserver beside it: make both
  # scripts, so each 32-bit process runs under qemu and the server is the
  # native amd64 one of the same version when wine64 is installed.
  local lib=$ROOT/usr/lib/wine
  rm -f "$lib/wine-preloader" "$lib/wineserver"
  cat > "$lib/wine-preloader" <<EOF
#!/bin/sh
exec "$ROOT/usr/bin/qemu-i386" -L "$ROOT" "$lib/wine-preloader.static" "\$@"
EOF
  cat > "$lib/wineserver" <<EOF
#!/bin/sh
if [ -x /usr/lib/wine/wineserver64 ] &&
   [ "\$(dpkg-query -W -f='\${Version}' wine64 2>/dev/null)" = "$wine_version" ]; then
  exec /usr/lib/wine/wineserver64 "\$@"
fi
exec "$ROOT/usr/bin/qemu-i386" -L "$ROOT" "$lib/wineserver32" "\$@"
EOF
  chmod +x "$lib/wine-preloader" "$lib/wineserver"

  # The index and the packages are needed again only for another version.
  rm -rf "$apt"
  printf 'layout=%s wine=%s\nqemu=%s mirror=%s\n' "$LAYOUT" "$(installed_version wine64)" \
    "$qemu_version" "$uri" > "$STAMP"
  say "ready: wine32 $wine_version under qemu-i386 $qemu_version ($(du -sh "$ROOT" | cut -f1) in $ROOT)"
}

cmd_setup() {
  if [ "${FFDRV_WINE32:-auto}" != private ] && system_wine_runs; then
    say "using the system's 32-bit Wine ($SYSTEM_LOADER)"
    return 0
  fi
  private_ready && return 0
  mkdir -p "$HOME_DIR"
  # Several worktrees may run make test at once: one of them builds the tree.
  exec 9> "$HOME_DIR/.lock"
  flock 9
  private_ready && return 0
  local start=$SECONDS
  setup_private
  say "set up in $((SECONDS - start)) s"
}

cmd_run() {
  [ $# -gt 0 ] || die "usage: wine32.sh run PROGRAM [ARG...]"
  export WINEARCH=win32
  case $(mode) in
    system) exec "$SYSTEM_LOADER" "$@" ;;
    qemu) exec "$ROOT/usr/lib/wine/wine-preloader" "$ROOT/usr/lib/wine/wine" "$@" ;;
    *) die "no 32-bit Wine is set up: run tools/wine32.sh setup" ;;
  esac
}

cmd_server() {
  case $(mode) in
    system) exec wineserver "$@" ;;
    qemu) exec "$ROOT/usr/lib/wine/wineserver" "$@" ;;
    *) die "no 32-bit Wine is set up: run tools/wine32.sh setup" ;;
  esac
}

case "${1:-}" in
  setup) shift; cmd_setup "$@" ;;
  run) shift; cmd_run "$@" ;;
  server) shift; cmd_server "$@" ;;
  mode) mode ;;
  *) sed -n '2,8p' "$0" | sed 's/^# \{0,1\}//' >&2; exit 1 ;;
esac
