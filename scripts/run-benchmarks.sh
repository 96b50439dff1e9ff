#!/usr/bin/env bash
# Builds Release in build-release/ and runs every benchmark; each prints its times and then
# its ratios against baselines measured in the same run. Then the memory a client holds for
# 10,000 properties, the stripped sizes of the library and of a program linking it, and
# last the soak of the demo's journey (20,000 page views, some minutes; set
# PELORIN_SOAK_PAGE_VIEWS for another count, 0 to skip it).
# Arguments go to every benchmark (default: --benchmark_repetitions=3; the fastest
# repetition counts), e.g.
#   scripts/run-benchmarks.sh --benchmark_repetitions=5 --benchmark_filter=Cache
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake_args=(-G Ninja -DCMAKE_BUILD_TYPE=Release -DPELORIN_BUILD_BENCHMARKS=ON
            -DPELORIN_BUILD_TESTS=OFF -DPELORIN_BUILD_EXAMPLES=OFF -DPELORIN_BUILD_TOOLS=ON
            -DPELORIN_BUILD_FUZZERS=OFF -DPELORIN_SANITIZE=)
if command -v ccache >/dev/null 2>&1; then
  cmake_args+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake -S . -B build-release "${cmake_args[@]}"
cmake --build build-release -j "$(nproc)"

if [ $# -eq 0 ]; then set -- --benchmark_repetitions=3; fi

echo "== machine"
echo "cpu:      $(lscpu | sed -n 's/^Model name: *//p' | head -n 1), $(nproc) cores available"
echo "os:       $(. /etc/os-release && echo "$PRETTY_NAME"), kernel $(uname -r)"
echo "compiler: $(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' build-release/CMakeCache.txt)" \
     "$("$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' build-release/CMakeCache.txt)" --version | head -n 1)"
echo "load:     $(cut -d ' ' -f 1-3 /proc/loadavg) (1, 5, 15 minutes) before the run"

for bench in build-release/bench/bench_*; do
  echo
  echo "== $(basename "$bench")"
  "$bench" "$@"
done

echo
echo "== memory"
for source in app server; do
  for values in short long; do
    build-release/bench/pelorin_footprint "$source" "$values"
  done
done

echo
echo "== size (stripped, Release)"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
size_of() { strip --strip-unneeded -o "$scratch/stripped" "$1" && stat -c %s "$scratch/stripped"; }
library=$(size_of build-release/src/libpelorin.a)
probe=$(size_of build-release/bench/pelorin_size_probe)
baseline=$(size_of build-release/bench/pelorin_size_baseline)
echo "static archive libpelorin.a:        $library bytes"
echo "program linking the library:        $probe bytes"
echo "baseline program without it:        $baseline bytes"
echo "added by linking the library:        $((probe - baseline)) bytes"
# The project builds a static library; for the size of a shared one, link every object of
# the archive (built position-independent) into one.
c++ -shared -o "$scratch/libpelorin.so" -Wl,--whole-archive build-release/src/libpelorin.a \
    -Wl,--no-whole-archive -lboost_json -lcurl -lfmt -pthread -Wl,--no-undefined
echo "shared object from the archive:     $(size_of "$scratch/libpelorin.so") bytes"
echo "shared libraries the program needs (not counted above): $(readelf -d \
  build-release/bench/pelorin_size_probe | sed -n 's/.*Shared library: \[\(.*\)\]/\1/p' | tr '\n' ' ')"

soak_page_views="${PELORIN_SOAK_PAGE_VIEWS:-20000}"
if [ "$soak_page_views" -gt 0 ]; then
  echo
  echo "== soak: the demo's journey, $soak_page_views page views (bench/journey_soak.cc)"
  build-release/bench/pelorin_journey_soak --page-views "$soak_page_views" ||
    echo "(the soak missed a target or the devserver stopped answering)"
fi
