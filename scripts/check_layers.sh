#!/usr/bin/env bash
# Checks the arrows of docs/architecture.md: who may include whom. Prints one line a finding.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/sources.sh

rooms="sessions messaging relations files remote webgate endpoints accounts"
third_party='<(boost/|sqlite3\.h|curl/|unicode/|libpq|sql\.h|sqlext\.h|sys/epoll\.h|sys/socket\.h|netinet/|arpa/)'
findings=0

Finding() {
  echo "$1: $2"
  findings=$((findings + 1))
}

# The layer of a file or of an included header, by its path.
LayerOf() {
  case "$1" in
    support/outgoing/*) echo outgoing ;;
    host/index_form/*) echo index_form ;;
    main.cpp) echo main ;;
    */*) echo "${1%%/*}" ;;
    *) echo none ;;
  esac
}

IsRoom() { [[ " $rooms " == *" $1 "* ]]; }

# MayInclude <file> <its layer> <included header> <its layer>
MayInclude() {
  local file=$1 from=$2 header=$3 to=$4
  [[ "$from" == "$to" ]] && return 0
  case "$from" in
    support) return 1 ;;
    platform) [[ "$to" == support ]] ;;
    outgoing) [[ "$to" == support || "$to" == platform ]] ;;
    host) [[ "$to" == support || "$to" == platform || "$to" == outgoing ]] ;;
    index_form | main | tools | fuzz)
      [[ "$to" != main ]] || return 1
      [[ "$to" != tests || "$from" == fuzz ]] || return 1
      [[ "$to" != tools || "$from" != index_form && "$from" != main ]] || return 1
      # Rooms show one header to everybody outside.
      ! IsRoom "$to" || [[ "$header" == "$to/$to.h" ]]
      ;;
    tests | bench) return 0 ;;
    *) # a room
      [[ "$to" == support || "$to" == platform || "$to" == outgoing || "$to" == host ]] && return 0
      IsRoom "$to" && [[ "$header" == "$to/$to.h" && "$file" == *.cpp ]]
      ;;
  esac
}

mapfile -t sources < <(ListSources)

while IFS=: read -r file line text; do
  from=$(LayerOf "$file")
  if [[ "$text" =~ ^[[:space:]]*#[[:space:]]*include[[:space:]]+\"([^\"]+)\" ]]; then
    header=${BASH_REMATCH[1]}
    to=$(LayerOf "$header")
    if [[ "$to" == none ]]; then
      Finding "$file:$line" "\"$header\" is not written from the root of the project"
    elif ! MayInclude "$file" "$from" "$header" "$to"; then
      Finding "$file:$line" "$from must not include $header"
    fi
  elif [[ "$text" =~ $third_party && ! "$from" =~ ^(platform|tests|bench)$ && "$file" != tools/client/connection.cpp ]]; then
    Finding "$file:$line" "only platform includes ${text#*include }"
  elif [[ "$from" == support && ! "$text" =~ \<[a-z_0-9]+\> ]]; then
    Finding "$file:$line" "support knows nothing but the standard library, not ${text#*include }"
  fi
done < <(printf '%s\n' "${sources[@]}" |
  xargs -d '\n' -r grep -HnE '^[[:space:]]*#[[:space:]]*include')

# A header of platform that shows a third-party header is private to it.
while IFS=: read -r header _; do
  [[ "$header" == *.h ]] || continue
  while read -r file; do
    case "$file" in
      platform/* | tests/platform/*) ;;
      *) Finding "$file" "$header shows third-party headers and is private to platform" ;;
    esac
  done < <(printf '%s\n' "${sources[@]}" | xargs -d '\n' -r grep -lF "\"$header\"")
done < <(printf '%s\n' "${sources[@]}" | grep '^platform/' |
  xargs -d '\n' -r grep -HE "#include $third_party" | sort -u -t: -k1,1)

for header in "${sources[@]}"; do
  [[ "$header" != *.h ]] || grep -q '^#pragma once$' "$header" || Finding "$header" "lacks #pragma once"
done

# What is written here explains itself: it points at nothing that a reader of the tree cannot open.
outside='\b[P]arts? [0-9]+\.[0-9]+|\b[s]pec\.md\b|\bthe [s]pec(ification)?\b|/[w]ork/|/[t]mp/wt'
if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  while read -r place; do
    Finding "${place%%:*}" "points outside the tree: ${place#*:}"
  done < <(git grep -nIiE "$outside" -- . ':!fuzz/corpus')
fi

if [[ $findings -gt 0 ]]; then
  echo "$findings findings"
  exit 1
fi
echo "${#sources[@]} files keep to the layers"
