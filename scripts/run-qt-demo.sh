#!/usr/bin/env bash
# Installs what is missing, builds the Qt shop (examples/qt-shop) and starts it against a
# devserver running the demo's configuration (examples/demo/demo_config.json).
#
#   scripts/run-qt-demo.sh            # opens the shop's window for you to use (needs a
#                                     # display); Ctrl-C or closing the window ends it
#   scripts/run-qt-demo.sh --script   # plays the demo's journey with real input under Xvfb,
#                                     # prints each step, the screenshots' folder and what
#                                     # the server received
# Other arguments go to the shop: --verbose, --debug, --steps N, --screenshots DIR, --help.
set -euo pipefail
cd "$(dirname "$0")/.."

script=false
for argument in "$@"; do
  if [ "$argument" = "--script" ]; then script=true; fi
done

scripts/install-deps.sh
cmake_args=(-G Ninja -DCMAKE_BUILD_TYPE=Release -DPELORIN_BUILD_TESTS=OFF -DPELORIN_BUILD_BENCHMARKS=OFF)
if command -v ccache >/dev/null 2>&1; then
  cmake_args+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake -S . -B build-qt-demo "${cmake_args[@]}"
cmake --build build-qt-demo -j "$(nproc)" --target pelorin-qt-shop pelorin-devserver

if ! $script && [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "run-qt-demo: no display to open the window on; --script plays the journey under Xvfb" >&2
  exit 1
fi

started=$(mktemp)
build-qt-demo/tools/devserver/pelorin-devserver --port 0 --config examples/demo/demo_config.json \
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

shop=(build-qt-demo/examples/qt-shop/pelorin-qt-shop --server "$base/" "$@")
if $script; then
  xvfb-run -a -s "-screen 0 1280x1024x24" "${shop[@]}"
else
  echo "inspector: $inspector"
  "${shop[@]}"
fi
