#!/usr/bin/env bash
# Runs a Windows program under 64-bit Wine, quietly, in its own prefix:
#   wine-run.sh [--prefix DIR] program.exe [args...]
# The prefix is created on first use. Several runs may start at once (ctest -j),
# so creation happens once, under a lock, and waits for wineserver to finish.
set -euo pipefail

prefix="${WINEPREFIX:-$HOME/.wine-tolvik}"
if [[ "${1:-}" == "--prefix" ]]; then
  prefix="$2"
  shift 2
fi
if [[ $# -lt 1 ]]; then
  echo "usage: $0 [--prefix DIR] program.exe [args...]" >&2
  exit 2
fi

wine=/usr/lib/wine/wine64
wineserver=/usr/lib/wine/wineserver
if [[ ! -x "$wine" ]]; then
  echo "wine-run.sh: $wine not found (install wine64: scripts/install-deps.sh)" >&2
  exit 127
fi

mkdir -p "$(dirname "$prefix")"
prefix="$(cd "$(dirname "$prefix")" && pwd)/$(basename "$prefix")"
export WINEPREFIX="$prefix"
export WINEDEBUG=-all
# No Mono or Gecko installer prompts, no display needed.
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY

if [[ ! -f "$prefix/.tolvik-ready" ]]; then
  (
    flock 9
    if [[ ! -f "$prefix/.tolvik-ready" ]]; then
      "$wine" wineboot -i >/dev/null 2>&1 || true
      "$wineserver" -w
      [[ -f "$prefix/system.reg" ]] || { echo "wine-run.sh: could not create the Wine prefix $prefix" >&2; exit 1; }
      touch "$prefix/.tolvik-ready"
    fi
  ) 9>"$prefix.lock"
fi

exec "$wine" "$@"
