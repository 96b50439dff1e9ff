#!/usr/bin/env bash
# Installs what is missing, builds the demo and runs it against the devserver it embeds.
# Arguments go to the demo: scripts/run-demo.sh --verbose, --debug, --help, ...
#
#   scripts/run-demo.sh --inspect   # the journey against a standalone devserver, which then
#                                   # keeps running (until Ctrl-C) with its inspector page
set -euo pipefail
cd "$(dirname "$0")/.."

inspect=false
demo_args=()
for argument in "$@"; do
  if [ "$argument" = "--inspect" ]; then inspect=true; else demo_args+=("$argument"); fi
done

scripts/install-deps.sh
cmake_args=(-G Ninja -DCMAKE_BUILD_TYPE=Release -DPELORIN_BUILD_TESTS=OFF -DPELORIN_BUILD_BENCHMARKS=OFF)
if command -v ccache >/dev/null 2>&1; then
  cmake_args+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake -S . -B build-demo "${cmake_args[@]}"
if ! $inspect; then
  cmake --build build-demo -j "$(nproc)" --target pelorin-demo
  exec build-demo/examples/demo/pelorin-demo "${demo_args[@]}"
fi

cmake --build build-demo -j "$(nproc)" --target pelorin-demo pelorin-devserver
started=$(mktemp)
build-demo/tools/devserver/pelorin-devserver --port 0 --config examples/demo/demo_config.json \
  >"$started" &
server=$!
stop_server() {
  kill "$server" 2>/dev/null || true
  wait "$server" 2>/dev/null || true
  rm -f "$started"
}
trap stop_server EXIT
trap 'exit 0' INT TERM
# The server prints its addresses once it accepts connections.
for _ in $(seq 100); do
  grep -q '^inspector: ' "$started" && break
  kill -0 "$server" 2>/dev/null || { cat "$started"; exit 1; }
  sleep 0.1
done
base=$(sed -n 's/^pelorin-devserver listening on //p' "$started")
inspector=$(sed -n 's/^inspector: //p' "$started")
[ -n "$base" ] && [ -n "$inspector" ] || { echo "the devserver did not start" >&2; exit 1; }

build-demo/examples/demo/pelorin-demo --server "$base/" ${demo_args[@]+"${demo_args[@]}"}
echo
echo "inspector: $inspector"
echo "The devserver keeps running so you can look at the journey in a browser; Ctrl-C stops it."
wait "$server"
