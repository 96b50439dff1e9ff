#!/usr/bin/env bash
# Runs the quick start against a devserver on a free loopback port, with a fresh data
# folder; fails unless it prints the profile the server issued and the property it set.
#   examples/quickstart/run_against_devserver.sh <pelorin-devserver> <pelorin-quickstart>
set -euo pipefail
devserver=$1
quickstart=$2
scratch=$(mktemp -d)
exec 3< <(exec "$devserver" --port 0)
server=$!
trap 'kill "$server" 2>/dev/null || true; rm -rf "$scratch"' EXIT

address=""
while IFS= read -r -t 30 line <&3; do
  case $line in
    "pelorin-devserver listening on "*) address="${line#pelorin-devserver listening on }/"; break ;;
  esac
done
if [ -z "$address" ]; then
  echo "the devserver printed no address" >&2
  exit 1
fi

XDG_DATA_HOME="$scratch" "$quickstart" "$address" | tee "$scratch/out"
grep -q '^profile: [^n].*, city: Utrecht$' "$scratch/out"
echo "quick start: ok against $address"
