#!/usr/bin/env bash
# Measures how long headless Chromium takes to load the inspector page after the server
# received N requests (default 10,000 page-view batches of the demo's size) and kept the
# last KEEP of them (default 1,000, the server's default), against the same page after one
# request, in the same run. Prints the median of three loads of each.
#
#   tools/devserver/measure_inspector.sh build-demo/tools/devserver/pelorin-devserver [N [KEEP]]
set -euo pipefail
cd "$(dirname "$0")/../.."
server_program=${1:?the pelorin-devserver program}
count=${2:-10000}
keep=${3:-1000}
chromium=${PELORIN_CHROMIUM:-$(command -v chromium || command -v chromium-browser || command -v google-chrome)}
work=$(mktemp -d)
servers=()
cleanup() {
  for pid in "${servers[@]}"; do kill "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT

# A standalone server with the demo's configuration; its base address in $base.
start_server() {
  local out="$work/server-$1.out"
  "$server_program" --port 0 --keep "$keep" --config examples/demo/demo_config.json >"$out" &
  servers+=($!)
  for _ in $(seq 100); do grep -q '^inspector: ' "$out" && break; sleep 0.1; done
  base=$(sed -n 's/^pelorin-devserver listening on //p' "$out")
}

# Sends `n` page-view batches (the demo's first batch) of one visitor over one connection.
send_page_views() {
  local base=$1 n=$2
  printf '%s' '[{"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"},{"method":"getProperties","alt":"json","id":"3","params":"{\"hash\":[\"\"]}"},{"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"PAGEVIEW\"],\"interaction\":[],\"timelineContext\":[\"{\\\"screenName\\\":\\\"home\\\"}\"]}"}]' \
    >"$work/body.json"
  curl -s -o /dev/null -c "$work/cookies" --data-binary "@$work/body.json" \
    "$base/DG/DEFAULT/rest/rpc/json/"
  for i in $(seq 2 "$n"); do
    [ "$i" -gt 2 ] && echo next
    printf 'url = "%s/DG/DEFAULT/rest/rpc/json/"\ndata-binary = "@%s"\nheader = "referer: app://com.example.trailhead/home"\ncookie = "%s"\noutput = "/dev/null"\n' \
      "$base" "$work/body.json" "$work/cookies"
  done >"$work/requests.curl"
  [ "$n" -gt 1 ] || return 0
  curl -s -K "$work/requests.curl"
}

# Milliseconds for Chromium to load the page, let it fetch and render, and write its DOM.
load_ms() {
  local base=$1 profile="$work/profile-$RANDOM"
  local start end
  start=$(date +%s%N)
  "$chromium" --headless --no-sandbox --disable-gpu --disable-background-networking \
    --disable-component-update --disable-sync --no-first-run --user-data-dir="$profile" \
    --virtual-time-budget=1500 --dump-dom "$base/" >"$work/dom.html" 2>/dev/null
  end=$(date +%s%N)
  rm -rf "$profile"
  grep -q "data-cursor" "$work/dom.html" || { echo "the page did not render" >&2; exit 1; }
  echo $(((end - start) / 1000000))
}

median3() { printf '%s\n' "$@" | sort -n | sed -n 2p; }

start_server small
small=$base
start_server large
large=$base
send_page_views "$small" 1
send_page_views "$large" "$count"
one=$(median3 "$(load_ms "$small")" "$(load_ms "$small")" "$(load_ms "$small")")
many=$(median3 "$(load_ms "$large")" "$(load_ms "$large")" "$(load_ms "$large")")
shown=$(grep -o '<li id="request-' "$work/dom.html" | wc -l)
kept=$(curl -s "$large/inspect/requests?since=0" | grep -o '"kept":[0-9]*' | cut -d: -f2)
echo "page after 1 request: ${one} ms"
echo "page after ${count} requests (${kept} kept, ${shown} shown): ${many} ms (+$((many - one)) ms, ratio $(awk "BEGIN {printf \"%.2f\", $many / $one}"))"
