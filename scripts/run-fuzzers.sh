#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for the given number of seconds
# (default 30, what CI gives each) from its seed corpus in fuzz/corpus/<name>/. New inputs
# go to a scratch copy. A second argument runs only the targets whose name contains it:
#   scripts/run-fuzzers.sh 600 response   # fuzz_response for ten minutes
# A crash leaves its input as crash-* in the current folder; replay it with
#   build-fuzz/fuzz/fuzz_<name> crash-<hash>
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-30}"
only="${2:-}"
scripts/install-deps.sh
cmake_args=(-G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++
            -DPELORIN_BUILD_FUZZERS=ON -DPELORIN_BUILD_TESTS=OFF -DPELORIN_BUILD_BENCHMARKS=OFF
            -DPELORIN_BUILD_EXAMPLES=OFF -DPELORIN_BUILD_TOOLS=OFF
            -DPELORIN_SANITIZE=address,undefined)
if command -v ccache >/dev/null 2>&1; then
  cmake_args+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake -S . -B build-fuzz "${cmake_args[@]}"
targets=()
for list in fuzz/*.cmake; do
  name="fuzz_$(basename "$list" .cmake)"
  if [[ -z "$only" || "$name" == *"$only"* ]]; then targets+=("$name"); fi
done
cmake --build build-fuzz -j "$(nproc)" --target "${targets[@]}"
status=0
for name in "${targets[@]}"; do
  fuzzer="build-fuzz/fuzz/$name"
  corpus="fuzz/corpus/${name#fuzz_}"
  scratch="$(mktemp -d)"
  [ -d "$corpus" ] && cp -r "$corpus"/. "$scratch"/
  echo "== $name for ${seconds}s"
  if ! "$fuzzer" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 \
         -print_final_stats=1 "$scratch" 2>&1 | tail -n 12; then
    status=1
  fi
  rm -rf "$scratch"
done
exit $status
