#!/usr/bin/env bash
# Installs what is missing, builds the demo and runs it against the devserver it embeds.
# Arguments go to the demo: scripts/run-demo.sh --verbose, --debug, --help, ...
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake_args=(-G Ninja -DCMAKE_BUILD_TYPE=Release -DPELORIN_BUILD_TESTS=OFF -DPELORIN_BUILD_BENCHMARKS=OFF)
if command -v ccache >/dev/null 2>&1; then
  cmake_args+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake -S . -B build-demo "${cmake_args[@]}"
cmake --build build-demo -j "$(nproc)" --target pelorin-demo
exec build-demo/examples/demo/pelorin-demo "$@"
