#!/usr/bin/env bash
# Checks the layering of the library's folders. Every #include of a src/ header from another
# src/ folder is an edge between two folders; each edge must be in ALLOWED below, and neither
# the edges found nor the allowed ones may form a cycle. Public headers (include/pelorin/)
# include no src/ header. Includes are written from src/ ("storage/pelorin_cache.h"); a
# quoted include without a folder names a header of the including file's own folder.
#
#   scripts/check-layers.sh              # checks the tree; non-zero on a violation
#   scripts/check-layers.sh --graph      # also prints the folder edges found
#   scripts/check-layers.sh --self-test  # plants violations in a copy and expects failures
#
# The layers, lowest first (a folder includes only folders of lower layers):
#   1 json, config, headless   2 base, platform, events   3 storage, listeners   4 protocol
#   5 client         6 plugins
# To let a folder include another, add the edge here; it must keep the graph acyclic.
#
# Toolkits: src/headless is the library's own; src/qt (with include/pelorin/qt/) is the
# only place that may include Qt's headers (<QWidget>, <QtCore/...>): the core never
# depends on Qt.
set -euo pipefail

declare -A ALLOWED=(
  [json]=""
  [base]="json"
  [config]=""
  [headless]=""
  [qt]=""
  [platform]="config json"
  [storage]="base config json platform"
  [protocol]="base config json storage"
  [events]="config"
  [listeners]="base config json"
  [client]="base config events json protocol storage"
  [plugins]="base client config json listeners"
)

root=""
graph=0
extra_edges=""  # "from>to ...", allowed on top of ALLOWED; for the self-test only
while [ $# -gt 0 ]; do
  case "$1" in
    --graph) graph=1; shift ;;
    --root) root="$2"; shift 2 ;;
    --also-allow) extra_edges="$2"; shift 2 ;;
    --self-test) self_test=1; shift ;;
    *) echo "check-layers: unknown argument $1" >&2; exit 2 ;;
  esac
done
script="$(cd "$(dirname "$0")" && pwd)/$(basename "$0")"
[ -n "$root" ] || root="$(cd "$(dirname "$0")/.." && pwd)"

if [ "${self_test:-0}" = 1 ]; then
  tmp="$(mktemp -d)"
  trap 'rm -rf "$tmp"' EXIT
  failures=0
  # Each case: a name, an include planted at the end of a file, extra allowed edges, and
  # the text the failure message must contain.
  expect_failure() {
    local name="$1" file="$2" include="$3" also="$4" expected="$5" out
    rm -rf "$tmp/tree" && mkdir "$tmp/tree" && cp -r "$root/src" "$root/include" "$tmp/tree/"
    echo "#include \"$include\"" >>"$tmp/tree/$file"
    if out="$("$script" --root "$tmp/tree" --also-allow "$also" 2>&1)"; then
      echo "check-layers self-test: '$name' passed, expected a failure" >&2
      failures=$((failures + 1))
    elif ! grep -qF -- "$expected" <<<"$out"; then
      echo "check-layers self-test: '$name' failed without \"$expected\":" >&2
      echo "$out" >&2
      failures=$((failures + 1))
    fi
  }
  expect_failure "upward include closing a cycle" src/storage/pelorin_cache.cc \
    client/pelorin_client_impl.h "" \
    'src/storage/pelorin_cache.cc:'
  expect_failure "cycle through an allowed back edge" src/storage/pelorin_cache.cc \
    client/pelorin_client_impl.h "storage>client" 'cycle'
  expect_failure "public header including a private one" include/pelorin/event.h \
    config/constants.h "" 'include/pelorin/event.h:'
  expect_failure "relative include" src/events/event.cc ../client/plugin_registry.h "" \
    'src/events/event.cc:'
  expect_failure "Qt outside the Qt toolkit" src/plugins/pl_lightbox.cc QWidget "" \
    'src/plugins/pl_lightbox.cc:'
  rm -rf "$tmp/tree" && mkdir "$tmp/tree" && cp -r "$root/src" "$root/include" "$tmp/tree/"
  if ! "$script" --root "$tmp/tree" >/dev/null; then
    echo "check-layers self-test: the unchanged copy fails" >&2
    failures=$((failures + 1))
  fi
  if [ "$failures" -ne 0 ]; then exit 1; fi
  echo "check-layers: self-test passed (5 planted violations caught)"
  exit 0
fi

for edge in $extra_edges; do
  ALLOWED[${edge%%>*}]+=" ${edge#*>}"
done

errors=0
fail() {
  echo "check-layers: $*" >&2
  errors=$((errors + 1))
}

is_src_folder() { [ -n "$1" ] && [ -d "$root/src/$1" ]; }

declare -A found=()  # "from to" -> first include seen, as "file:line"
scan() {
  local area="$1" file line text inc from to
  while IFS= read -r match; do
    file="${match%%:*}"
    line="${match#*:}"
    text="${line#*:}"
    line="${line%%:*}"
    [[ "$text" =~ include[[:space:]]*[\"\<]([^\">]*) ]] || continue
    inc="${BASH_REMATCH[1]}"
    rel="${file#"$root"/}"
    if [[ "$inc" =~ ^Q[A-Za-z0-9]*(/|$) ]] && [[ "$rel" != src/qt/* && "$rel" != include/pelorin/qt/* ]]; then
      fail "$rel:$line: #include \"$inc\": only src/qt/ and include/pelorin/qt/ may include Qt"
      continue
    fi
    to="${inc%%/*}"
    if [[ "$inc" == ../* || "$inc" == */../* ]]; then
      fail "$rel:$line: #include \"$inc\": a relative include; write the path from src/"
      continue
    fi
    [ "$to" != "$inc" ] || continue  # a header of the same folder
    if [[ "$text" != *'"'* ]] && [ ! -f "$root/src/$inc" ]; then continue; fi  # <a system header>
    is_src_folder "$to" || continue
    if [ "$area" = include ]; then
      fail "$rel:$line: #include \"$inc\": a public header includes a private src/ header"
      continue
    fi
    from="${rel#src/}"
    from="${from%%/*}"
    [ "$from" != "$to" ] || continue
    if [ -z "${ALLOWED[$from]+set}" ]; then
      fail "$rel:$line: #include \"$inc\": folder src/$from/ is not in the layer list"
      continue
    fi
    if [[ " ${ALLOWED[$from]} " != *" $to "* ]]; then
      fail "$rel:$line: #include \"$inc\": src/$from/ may not include src/$to/" \
        "(allowed: ${ALLOWED[$from]:-nothing})"
      continue
    fi
    [ -n "${found["$from $to"]+set}" ] || found["$from $to"]="$rel:$line"
  done < <(find "$root/$area" -type f \( -name '*.h' -o -name '*.cc' -o -name '*.inc' \) \
             -exec grep -HnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*["<]' {} + | sort)
}
scan src
scan include

for folder in "$root"/src/*/; do
  folder="$(basename "$folder")"
  [ -n "${ALLOWED[$folder]+set}" ] || fail "folder src/$folder/ is not in the layer list"
done

# A cycle among the allowed edges (or, with --also-allow, the edges found) fails too. A
# depth-first search over "from to ..." lines prints the first cycle, as "a -> b -> a".
find_cycle() {
  local -A next=() state=()
  local -a path=()
  local from rest
  while read -r from rest; do [ -n "$from" ] && next[$from]+=" $rest"; done <<<"$1"
  visit() {
    local node="$1" to i
    state[$node]=open
    path+=("$node")
    for to in ${next[$node]:-}; do
      if [ "${state[$to]:-}" = open ]; then
        for ((i = 0; i < ${#path[@]}; i++)); do
          [ "${path[$i]}" != "$to" ] || break
        done
        printf '%s -> ' "${path[@]:$i}"
        echo "$to"
        return 0
      fi
      if [ -z "${state[$to]:-}" ] && visit "$to"; then return 0; fi
    done
    state[$node]=done
    unset 'path[${#path[@]}-1]'
    return 1
  }
  for from in $(printf '%s\n' "${!next[@]}" | sort); do
    if [ -z "${state[$from]:-}" ] && visit "$from"; then return 0; fi
  done
  return 1
}
allowed_lines=""
for from in "${!ALLOWED[@]}"; do allowed_lines+="$from ${ALLOWED[$from]}"$'\n'; done
if cycle="$(find_cycle "$allowed_lines")"; then
  fail "the allowed folder edges form a cycle: $cycle"
fi
found_lines=""
for edge in "${!found[@]}"; do found_lines+="$edge"$'\n'; done
if cycle="$(find_cycle "$found_lines")"; then
  fail "the includes form a cycle: $cycle"
  read -ra hops <<<"${cycle//->/}"
  for ((i = 0; i + 1 < ${#hops[@]}; i++)); do
    echo "  ${hops[$i]} -> ${hops[$((i + 1))]}: ${found["${hops[$i]} ${hops[$((i + 1))]}"]}" >&2
  done
fi

if [ "$graph" = 1 ]; then
  for edge in "${!found[@]}"; do echo "${edge% *} -> ${edge#* }"; done | sort
fi
if [ "$errors" -ne 0 ]; then
  echo "check-layers: $errors violation(s)" >&2
  exit 1
fi
echo "check-layers: ${#found[@]} folder edges, all allowed, no cycle"
