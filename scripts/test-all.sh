#!/usr/bin/env bash
# Every test on both toolchains: native (plain, then with sanitizers), the Windows build under
# Wine, and a bounded fuzz smoke. Stops at the first failing stage and exits non-zero.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)
start=$(date +%s)

stage() { printf '\n==== %s\n' "$*"; }

stage "native: build"
cmake --preset native >/dev/null
cmake --build --preset native -j "$jobs"
stage "native: tests"
ctest --test-dir build/native --output-on-failure -j "$jobs"

stage "native with AddressSanitizer and UndefinedBehaviorSanitizer: build"
cmake --preset native-asan >/dev/null
cmake --build --preset native-asan -j "$jobs"
stage "native with sanitizers: tests"
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build/native-asan --output-on-failure -j "$jobs"

# ThreadSanitizer: only the executables whose code runs threads (kernel objects, the service).
tsan_targets=()
for f in tests/foundation/*thread*_test.cpp tests/foundation/*event*_test.cpp \
         tests/foundation/*mutex*_test.cpp tests/service/*_test.cpp; do
  [ -f "$f" ] || continue
  folder=$(basename "$(dirname "$f")"); stem=$(basename "$f" .cpp)
  tsan_targets+=("tv_${folder}_${stem}")
done
if [ ${#tsan_targets[@]} -gt 0 ]; then
  stage "native with ThreadSanitizer: build (${#tsan_targets[@]} thread test programs)"
  cmake --preset native-tsan >/dev/null
  cmake --build --preset native-tsan -j "$jobs" --target "${tsan_targets[@]}"
  stage "native with ThreadSanitizer: tests"
  TSAN_OPTIONS=halt_on_error=1 ctest --test-dir build/native-tsan --output-on-failure -j "$jobs" \
    -R '^(foundation/(.*thread.*|.*event.*|.*mutex.*)|service/.*)$'
fi

stage "windows (mingw-w64): build"
cmake --preset windows >/dev/null
cmake --build --preset windows -j "$jobs"
stage "windows: tests under Wine"
scripts/wine-ctest.sh build/windows

stage "windows installer under Wine: install, uninstall, upgrade"
scripts/test-package.sh build/windows build/native

stage "fuzz smoke: build"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$jobs"
stage "fuzz smoke: run"
ctest --test-dir build/fuzz --output-on-failure -j "$jobs"

printf '\nmake test: every stage passed in %d s\n' $(( $(date +%s) - start ))
