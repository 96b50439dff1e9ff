#!/usr/bin/env bash
# Fails when the README's quick start differs from examples/quickstart/main.cc: the README
# shows the program CI builds and runs, byte for byte (the first ```cpp block after
# "## Quick start").
set -euo pipefail
cd "$(dirname "$0")/.."
shown=$(awk '/^## Quick start/ { section = 1; next }
             section && /^```cpp$/ { inside = 1; next }
             inside && /^```$/ { exit }
             inside { print }' README.md)
if ! diff -u <(printf '%s\n' "$shown") examples/quickstart/main.cc; then
  echo "README.md's quick start differs from examples/quickstart/main.cc (diff above)" >&2
  exit 1
fi
echo "readme: the quick start is examples/quickstart/main.cc"
