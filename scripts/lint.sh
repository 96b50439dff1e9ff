#!/usr/bin/env bash
# Checks formatting (clang-format) and the folder layers (check-layers.sh, with its
# self-test), and, with --tidy, runs clang-tidy over every source file of the project.
# Needs a configured build/ (compile_commands.json) for --tidy.
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files '*.h' '*.cc')
clang-format --dry-run -Werror "${files[@]}"
echo "lint: formatting clean (${#files[@]} files)"
scripts/check-layers.sh
scripts/check-layers.sh --self-test
scripts/check-readme-quickstart.sh
if [ "${1:-}" = "--tidy" ]; then
  mapfile -t sources < <(git ls-files '*.cc' | grep -v '^fuzz/')
  clang-tidy -p build --quiet "${sources[@]}"
  echo "lint: clang-tidy clean"
fi
