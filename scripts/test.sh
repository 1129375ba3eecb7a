#!/usr/bin/env bash
# Builds and runs every test, as root on a fresh Debian 12 machine or again
# on a built one (build directories are reused). Stages, in order:
#   win64   Windows x86-64 cross-build, its tests under Wine
#   win32   Windows i686 cross-build of the product (compile and link only)
#   fuzz    clang + libFuzzer, every fuzzer for a minute from an empty corpus
#   tsan    clang + ThreadSanitizer, the tests labelled "tsan"
#   asan    gcc + AddressSanitizer + UndefinedBehaviorSanitizer, all tests
#   linux   gcc, the plain native build, all tests
# A failing stage fails the run but the later stages still run. The output
# ends with CTest's summary line of the last stage; the exit status covers
# every stage.
set -uo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$repo"

jobs="${TOLVIK_JOBS:-2}"
fuzz_seconds="${TOLVIK_FUZZ_SECONDS:-60}"
export TOLVIK_JOBS="$jobs"

failed=()
report=()
run_start=$SECONDS

say() { echo "$*" >&2; }

# quiet <log> <command...>: output into the log, its tail on failure.
quiet() {
  local log="$1"; shift
  mkdir -p "$(dirname "$log")"
  if ! "$@" >"$log" 2>&1; then
    say "FAILED: $* (last lines of $log):"
    tail -n 60 "$log" >&2
    return 1
  fi
}

# build <dir> <cmake options...>: configure (first time) and build everything.
build() {
  local dir="$1"; shift
  quiet "$dir/ci-configure.log" cmake -S "$repo" -B "$dir" -G Ninja "$@"
  quiet "$dir/ci-build.log" cmake --build "$dir" -j "$jobs"
}

# CTest, with its trailing total-time line dropped so that a passing run ends
# on the summary line. ctest_wrap may hold a command to run it under.
ctest_wrap=()
run_ctest() {
  "${ctest_wrap[@]}" ctest --test-dir "$@" -j "$jobs" --output-on-failure --no-label-summary --timeout 240 2>&1 |
    awk '/^Total Test time/ { next }
         /^[[:space:]]*$/ { blank++; next }
         { if (blank) print ""; blank = 0; print; fflush() }'
  return "${PIPESTATUS[0]}"
}

# stage <name> <function>: runs the function with errexit on, records the result.
stage() {
  local name="$1" fn="$2" start=$SECONDS rc
  say ""
  say "=== $name"
  (set -e; "$fn")
  rc=$?
  local took=$((SECONDS - start))
  if [[ $rc -eq 0 ]]; then
    report+=("$(printf '%-12s ok       %4d s' "$name" "$took")")
  elif [[ $rc -eq 100 ]]; then
    report+=("$(printf '%-12s skipped  %4d s' "$name" "$took")")
  else
    report+=("$(printf '%-12s FAILED   %4d s' "$name" "$took")")
    failed+=("$name")
  fi
}
skip() { say "$name: skipped: $*"; exit 100; }

stage_win64() {
  bash scripts/build-win-deps.sh x86_64
  build build/ci-win64 -DCMAKE_TOOLCHAIN_FILE="$repo/cmake/toolchains/mingw-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=Release
  run_ctest build/ci-win64
}

stage_win32() {
  bash scripts/build-win-deps.sh i686
  build build/ci-win32 -DCMAKE_TOOLCHAIN_FILE="$repo/cmake/toolchains/mingw-i686.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DTOLVIK_BUILD_TESTS=OFF
}

stage_fuzz() {
  local dir=build/ci-fuzz
  quiet "$dir/ci-configure.log" cmake -S "$repo" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DTOLVIK_BUILD_FUZZ=ON -DTOLVIK_BUILD_TESTS=OFF
  quiet "$dir/ci-build.log" cmake --build "$dir" -j "$jobs" --target tolvik_fuzzers
  local fuzzers=()
  for f in "$dir"/fuzz/bin/*; do
    if [[ -x "$f" ]]; then fuzzers+=("$f"); fi
  done
  [[ ${#fuzzers[@]} -gt 0 ]] || skip "no fuzz targets"
  rm -rf "$dir/corpus" "$dir/artifacts"
  mkdir -p "$dir/artifacts" "$dir/logs"
  # One fuzzer per core.
  local pids=() names=() bad=0 i
  for f in "${fuzzers[@]}"; do
    local n
    n="$(basename "$f")"
    mkdir -p "$dir/corpus/$n"
    while [[ $(jobs -rp | wc -l) -ge $jobs ]]; do wait -n || true; done
    "$f" -max_total_time="$fuzz_seconds" -rss_limit_mb=2048 -print_final_stats=1 \
      -artifact_prefix="$dir/artifacts/$n-" "$dir/corpus/$n" >"$dir/logs/$n.log" 2>&1 &
    pids+=($!)
    names+=("$n")
  done
  for i in "${!pids[@]}"; do
    if wait "${pids[$i]}"; then
      say "fuzz ${names[$i]}: $(grep -E '^Done [0-9]+ runs' "$dir/logs/${names[$i]}.log" || echo done)"
    else
      say "fuzz ${names[$i]}: FAILED (artifacts in $dir/artifacts); last lines of its log:"
      tail -n 60 "$dir/logs/${names[$i]}.log" >&2
      bad=1
    fi
  done
  return $bad
}

stage_tsan() {
  local dir=build/ci-tsan
  quiet "$dir/ci-configure.log" cmake -S "$repo" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DTOLVIK_SANITIZE=thread
  quiet "$dir/ci-build.log" cmake --build "$dir" -j "$jobs" --target tolvik_tsan_tests
  ctest --test-dir "$dir" -N -L tsan | grep -q '^Total Tests: [1-9]' || skip "no test carries the label tsan"
  export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1"
  # ThreadSanitizer's shadow memory needs a fixed layout; kernels with wide
  # address randomisation break it, so run without randomisation where allowed.
  if setarch "$(uname -m)" -R true 2>/dev/null; then
    ctest_wrap=(setarch "$(uname -m)" -R)
  fi
  run_ctest "$dir" -L tsan
}

stage_asan() {
  build build/ci-asan -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
    -DTOLVIK_SANITIZE=address,undefined
  ASAN_OPTIONS="detect_leaks=1 strict_string_checks=1" UBSAN_OPTIONS="print_stacktrace=1" \
    run_ctest build/ci-asan
}

stage_linux_build() {
  build build/ci-linux -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
    -DTOLVIK_BUILD_BENCH=ON
}

# The installation tree must lay out, too.
stage_install() {
  rm -rf build/ci-linux/install-check
  quiet build/ci-linux/ci-install.log cmake --install build/ci-linux --prefix build/ci-linux/install-check
}

say "=== install-deps"
if ! bash scripts/install-deps.sh; then
  say "install-deps failed; the stages that need the missing packages will fail too"
  failed+=("install-deps")
fi
report+=("$(printf '%-12s %-8s %4d s' deps "$([[ ${#failed[@]} -eq 0 ]] && echo ok || echo FAILED)" $((SECONDS - run_start)))")

stage win64 stage_win64
stage win32 stage_win32
stage fuzz stage_fuzz
stage tsan stage_tsan
stage asan stage_asan

# The plain native build goes last so that its CTest summary closes the output;
# the summary of all stages is printed before its tests run.
stage linux-build stage_linux_build
if [[ " ${failed[*]} " != *" linux-build "* ]]; then
  stage install stage_install
fi
say ""
say "=== stages (the linux tests follow)"
for line in "${report[@]}"; do say "$line"; done
say "total so far: $((SECONDS - run_start)) s"
if [[ ${#failed[@]} -gt 0 ]]; then
  say "FAILED stages: ${failed[*]}"
fi

if [[ " ${failed[*]} " == *" linux-build "* ]]; then
  exit 1
fi
say ""
say "=== linux tests"
run_ctest build/ci-linux
rc=$?
[[ $rc -eq 0 && ${#failed[@]} -eq 0 ]] || exit 1
exit 0
