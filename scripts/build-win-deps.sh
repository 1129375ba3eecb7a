#!/usr/bin/env bash
# Cross-builds the Windows static libraries that Debian has no mingw package
# for (PCRE2, libxml2, libarchive) from Debian's own source packages:
#   build-win-deps.sh x86_64|i686
# Result: build/win-deps/<arch>/prefix (include/, lib/), which the mingw
# toolchain files use as TOLVIK_WIN_DEPS_PREFIX. zlib comes from
# libz-mingw-w64-dev. Each library is built once; a stamp records the recipe,
# so editing this script rebuilds what it builds.
# Needs root only the first time, to enable deb-src and download the sources.
set -euo pipefail

arch="${1:-}"
case "$arch" in
  x86_64|i686) ;;
  *) echo "usage: $0 x86_64|i686" >&2; exit 2 ;;
esac

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
top="$repo/build/win-deps"
work="$top/$arch"
prefix="$work/prefix"
downloads="$top/downloads"
toolchain="$repo/cmake/toolchains/mingw-$arch.cmake"
host="$arch-w64-mingw32"
jobs="${TOLVIK_JOBS:-2}"
recipe="$(sha256sum "${BASH_SOURCE[0]}" | cut -c1-12)"

mkdir -p "$work" "$downloads"
exec 9>"$work.lock"
flock 9

done_stamp() { echo "$prefix/.built-$1-$recipe"; }

# Runs a build step with its output in a log; shows the log only on failure.
step() {
  local name="$1"; shift
  local log="$work/$name.log"
  if ! "$@" >"$log" 2>&1; then
    echo "build-win-deps: $arch: '$name' failed; last lines of $log:" >&2
    tail -n 40 "$log" >&2
    exit 1
  fi
}

have_sources() {
  compgen -G "$downloads/pcre2_*.orig.tar.*" >/dev/null &&
    compgen -G "$downloads/libxml2_*.orig.tar.*" >/dev/null &&
    compgen -G "$downloads/libarchive_*.orig.tar.*" >/dev/null
}

enable_deb_src() {
  local f=/etc/apt/sources.list.d/debian.sources
  if [[ -f "$f" ]]; then
    grep -Eq '^Types:.*deb-src' "$f" || sed -i -E 's/^Types:[[:space:]]*deb[[:space:]]*$/Types: deb deb-src/' "$f"
  elif [[ -f /etc/apt/sources.list ]] && ! grep -Eq '^deb-src ' /etc/apt/sources.list; then
    sed -n -E 's/^deb (.*)/deb-src \1/p' /etc/apt/sources.list >>/etc/apt/sources.list
  fi
}

fetch_sources() {
  have_sources && return 0
  if [[ $(id -u) -ne 0 ]]; then
    echo "build-win-deps: the source packages are not downloaded yet; run once as root" >&2
    exit 1
  fi
  enable_deb_src
  apt-get update -qq
  # A missing security .dsc can fail the command while the .orig tarball
  # still arrives: judge by the tarballs.
  (cd "$downloads" && apt-get source --download-only -qq pcre2 libxml2 libarchive >"$top/apt-source.log" 2>&1) || true
  if ! have_sources; then
    echo "build-win-deps: could not download the source packages:" >&2
    tail -n 20 "$top/apt-source.log" >&2
    exit 1
  fi
}

# unpack <name> -> prints the fresh source directory
unpack() {
  local tarball dir
  tarball="$(compgen -G "$downloads/$1_*.orig.tar.*" | head -n 1)"
  dir="$work/src/$1"
  rm -rf "$dir"
  mkdir -p "$dir"
  tar -xf "$tarball" -C "$dir" --strip-components=1
  echo "$dir"
}

cmake_dep() {
  local name="$1" src="$2"; shift 2
  rm -rf "$work/build/$name"
  step "$name-configure" cmake -S "$src" -B "$work/build/$name" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF "$@"
  step "$name-build" cmake --build "$work/build/$name" -j "$jobs"
  step "$name-install" cmake --install "$work/build/$name"
}

build_pcre2() {
  local src
  src="$(unpack pcre2)"
  cmake_dep pcre2 "$src" \
    -DBUILD_STATIC_LIBS=ON -DPCRE2_BUILD_PCRE2_8=ON -DPCRE2_BUILD_PCRE2_16=OFF \
    -DPCRE2_BUILD_PCRE2_32=OFF -DPCRE2_SUPPORT_JIT=ON -DPCRE2_SUPPORT_UNICODE=ON \
    -DPCRE2_BUILD_PCRE2GREP=OFF -DPCRE2_BUILD_TESTS=OFF -DPCRE2_SHOW_REPORT=OFF
}

build_libxml2() {
  local src
  src="$(unpack libxml2)"
  cmake_dep libxml2 "$src" \
    -DLIBXML2_WITH_PYTHON=OFF -DLIBXML2_WITH_LZMA=OFF -DLIBXML2_WITH_ICU=OFF \
    -DLIBXML2_WITH_ICONV=OFF -DLIBXML2_WITH_ZLIB=OFF -DLIBXML2_WITH_TESTS=OFF \
    -DLIBXML2_WITH_PROGRAMS=OFF
}

# libarchive's CMake configure crashes Debian's cmake under mingw; autotools
# works. Only zlib for compression; hashes come from Windows' CNG.
build_libarchive() {
  local src
  src="$(unpack libarchive)"
  step libarchive-configure bash -c "cd '$src' && ./configure --host=$host --prefix='$prefix' \
    CC=$host-gcc-posix CFLAGS=-O2 \
    --disable-shared --enable-static --disable-bsdtar --disable-bsdcpio --disable-bsdcat \
    --disable-acl --disable-xattr --disable-posix-regex-lib \
    --with-zlib --without-bz2lib --without-libb2 --without-iconv --without-lz4 \
    --without-zstd --without-lzma --without-openssl --without-xml2 --without-expat \
    --without-mbedtls --without-nettle"
  step libarchive-build make -C "$src" -j "$jobs" libarchive.la
  step libarchive-install make -C "$src" install-libLTLIBRARIES install-includeHEADERS install-pkgconfigDATA
}

todo=()
for lib in pcre2 libxml2 libarchive; do
  [[ -f "$(done_stamp $lib)" ]] || todo+=("$lib")
done
[[ ${#todo[@]} -eq 0 ]] && exit 0

fetch_sources
mkdir -p "$prefix"
for lib in "${todo[@]}"; do
  start=$SECONDS
  rm -f "$prefix"/.built-"$lib"-*
  "build_$lib"
  touch "$(done_stamp "$lib")"
  echo "build-win-deps: $arch: $lib built in $((SECONDS - start)) s" >&2
done
