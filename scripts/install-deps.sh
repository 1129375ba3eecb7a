#!/usr/bin/env bash
# Installs, as root on Debian 12, the packages the builds need:
#   install-deps.sh            everything (native, sanitizers, fuzzing, Windows cross-build, Wine)
#   install-deps.sh --native   only the native Linux build
# Idempotent and silent when everything is already there.
set -euo pipefail

native=(
  build-essential cmake ninja-build pkg-config xz-utils ca-certificates
  libpcre2-dev libxml2-dev libarchive-dev libssl-dev
  googletest libgtest-dev libgmock-dev libbenchmark-dev
)
extra=(
  # clang's libFuzzer and ThreadSanitizer run times
  clang libclang-rt-14-dev
  # Windows cross-build (the -posix thread model) and its tests under Wine
  g++-mingw-w64-x86-64 g++-mingw-w64-i686 g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix
  libz-mingw-w64-dev wine64
  valgrind sysstat
)

packages=("${native[@]}")
case "${1:-}" in
  --native) ;;
  "") packages+=("${extra[@]}") ;;
  *) echo "usage: $0 [--native]" >&2; exit 2 ;;
esac

installed="$(dpkg-query -W -f='${Package} ${Status}\n' "${packages[@]}" 2>/dev/null |
  awk '$NF == "installed" { sub(/:.*/, "", $1); print $1 }' || true)"
missing=()
for p in "${packages[@]}"; do
  grep -qx -- "$p" <<<"$installed" || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

if [[ $(id -u) -ne 0 ]]; then
  echo "install-deps.sh: missing packages (${missing[*]}); run this script as root" >&2
  exit 1
fi

echo "install-deps.sh: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
