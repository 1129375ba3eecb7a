#!/usr/bin/env bash
# Builds the tool natively, installs it with the shipped sample configuration
# into build/sample/install and runs it there with the given arguments:
#   run-sample.sh [tolvik-perfmon arguments...]
# Standard output is the tool's alone (its events); everything else goes to
# standard error or to build/sample/*.log.
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="$repo/build/sample/build"
install="$repo/build/sample/install"
jobs="${TOLVIK_JOBS:-2}"

bash "$repo/scripts/install-deps.sh" --native >&2

step() {
  local log="$1"; shift
  if ! "$@" >"$log" 2>&1; then
    echo "run-sample.sh: '$*' failed; last lines of $log:" >&2
    tail -n 40 "$log" >&2
    exit 1
  fi
}

mkdir -p "$repo/build/sample"
echo "run-sample.sh: building in $build" >&2
step "$repo/build/sample/configure.log" cmake -S "$repo" -B "$build" -G Ninja \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTOLVIK_BUILD_TESTS=OFF
step "$repo/build/sample/build.log" cmake --build "$build" -j "$jobs"
if ! ninja -C "$build" -t targets all | grep -q '^tolvik-perfmon: phony'; then
  echo "run-sample.sh: the build has no tolvik-perfmon executable yet (pipeline/input/ defines it)" >&2
  exit 1
fi
step "$repo/build/sample/install.log" cmake --install "$build" --prefix "$install"
tool="$install/bin/tolvik-perfmon"

export TOLVIK_HOME="$install"
echo "run-sample.sh: TOLVIK_HOME=$TOLVIK_HOME; running bin/tolvik-perfmon $*" >&2
exec "$tool" "$@"
