#!/usr/bin/env bash
# Installs what is missing, builds the library with its tests, and runs the whole suite.
#
#   scripts/run-tests.sh                      # gcc, Debug, build/
#   scripts/run-tests.sh --sanitize address,undefined   # clang with ASan+UBSan, build-asan/
#   scripts/run-tests.sh --sanitize thread    # clang with TSan, build-tsan/
#   scripts/run-tests.sh -L client            # only tests with a CTest label
#   scripts/run-tests.sh -L soak --soak-seconds 600   # a longer soak (PELORIN_SOAK_SECONDS)
set -euo pipefail
cd "$(dirname "$0")/.."

sanitize=""
build_dir=""
ctest_args=()
while [ $# -gt 0 ]; do
  case "$1" in
    --sanitize) sanitize="$2"; shift 2 ;;
    --build-dir) build_dir="$2"; shift 2 ;;
    --soak-seconds) export PELORIN_SOAK_SECONDS="$2"; shift 2 ;;
    *) ctest_args+=("$1"); shift ;;
  esac
done

scripts/install-deps.sh

cmake_args=(-G Ninja -DCMAKE_BUILD_TYPE=Debug -DPELORIN_BUILD_BENCHMARKS=ON)
if command -v ccache >/dev/null 2>&1; then
  cmake_args+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
if [ -n "$sanitize" ]; then
  case "$sanitize" in
    thread) build_dir="${build_dir:-build-tsan}" ;;
    *) build_dir="${build_dir:-build-asan}" ;;
  esac
  cmake_args+=(-DCMAKE_CXX_COMPILER=clang++ -DPELORIN_SANITIZE="$sanitize"
               -DPELORIN_BUILD_BENCHMARKS=OFF -DPELORIN_WITH_QT=OFF)
  export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:strict_string_checks=1"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
  export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
fi
build_dir="${build_dir:-build}"

cmake -S . -B "$build_dir" "${cmake_args[@]}"
cmake --build "$build_dir" -j "$(nproc)"
ctest --test-dir "$build_dir" -j "$(nproc)" --output-on-failure "${ctest_args[@]}"
