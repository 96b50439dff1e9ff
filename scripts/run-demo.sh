#!/usr/bin/env bash
# Installs what is missing, builds everything and runs the example program.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake_args=(-G Ninja -DCMAKE_BUILD_TYPE=Release -DPELORIN_BUILD_TESTS=OFF -DPELORIN_BUILD_BENCHMARKS=OFF)
if command -v ccache >/dev/null 2>&1; then
  cmake_args+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake -S . -B build-demo "${cmake_args[@]}"
cmake --build build-demo -j "$(nproc)"
exec build-demo/examples/pelorin-example "$@"
