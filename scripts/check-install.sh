#!/usr/bin/env bash
# The package as a consumer sees it: builds the library shared (no tests), installs it into
# a temporary prefix, builds examples/quickstart on its own against the installed package
# with find_package(pelorin), runs it against a devserver, and checks that the library has
# a soname and exports only the public API.
#   scripts/check-install.sh [pelorin-devserver]   (default build/tools/devserver/...)
set -euo pipefail
cd "$(dirname "$0")/.."
devserver=$(realpath "${1:-build/tools/devserver/pelorin-devserver}")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
launcher=()
if command -v ccache >/dev/null 2>&1; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

# No build type: no optimisation, so this compiles quickly. The package holds the core
# library only (the Qt toolkit is used from the build tree).
cmake -S . -B "$scratch/build" -G Ninja -DBUILD_SHARED_LIBS=ON -DPELORIN_BUILD_EXAMPLES=OFF \
      -DPELORIN_WITH_QT=OFF "${launcher[@]}" > "$scratch/configure.log"
cmake --build "$scratch/build" -j "$(nproc)" > "$scratch/build.log" || {
  cat "$scratch/build.log"; exit 1; }
cmake --install "$scratch/build" --prefix "$scratch/prefix" > /dev/null
test -f "$scratch/prefix/include/pelorin/pelorin_client.h"
if grep -rn boost "$scratch/prefix/include" | grep -v '^[^:]*:[0-9]*: *//'; then
  echo "an installed header names Boost" >&2
  exit 1
fi

cmake -S examples/quickstart -B "$scratch/quickstart" -G Ninja \
      -DCMAKE_PREFIX_PATH="$scratch/prefix" "${launcher[@]}" > "$scratch/quickstart.log"
cmake --build "$scratch/quickstart" > /dev/null

library=$(find "$scratch/prefix" -name 'libpelorin.so.*.*.*')
soname=$(readelf -d "$library" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
echo "installed: $(basename "$library"), soname $soname"
[ "$soname" = "libpelorin.so.$(sed -n 's/^project(pelorin VERSION \([0-9]*\)\..*/\1/p' CMakeLists.txt)" ]

# Exported: the public classes and functions (and what the compiler emits for them).
# Nothing of the library's internals, of Boost or of fmt. An internal class may still
# appear inside the name of what a public template instantiates for it (a plug-in
# factory's lambda), so only names that are the internal classes themselves count.
nm -D --defined-only -C "$library" | awk '{ $1 = ""; $2 = ""; sub(/^  /, ""); print }' \
  > "$scratch/exports"
echo "exported symbols: $(wc -l < "$scratch/exports")"
if grep -E '^(typeinfo( name)? for |vtable for |VTT for |guard variable for )?(boost|fmt|icu|httplib)' \
     "$scratch/exports" | head -n 5 | grep .; then
  echo "the library exports a dependency's symbols" >&2
  exit 1
fi
if grep -E '^((typeinfo( name)?|vtable|VTT) for )?pelorin::(PelorinClientImpl|PelorinCommitLog|PelorinCache|PelorinConnector|PelorinDataManager|EventBus|ListenerUtil|FormListener|PelorinConfiguration)\b' \
     "$scratch/exports" | head -n 5 | grep .; then
  echo "the library exports its internals" >&2
  exit 1
fi

examples/quickstart/run_against_devserver.sh "$devserver" "$scratch/quickstart/pelorin-quickstart"
