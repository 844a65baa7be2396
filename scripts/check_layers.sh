#!/usr/bin/env bash
# Checks the arrows of docs/architecture.md: who may include whom. Prints one line a finding.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/sources.sh

# The floors of src/, the lowest first; main.cpp stands on top. What is on a floor may include what is below it.
declare -A floor=([support]=1 [platform]=2 [host]=3 [accounts]=4 [endpoints]=4 [files]=4 [messaging]=4
  [relations]=4 [remote]=4 [sessions]=4 [webgate]=4 [server]=5 [tools]=5 [main]=6)

# The arrows between rooms, which share a floor. Only from a source, and only to the other room's one header.
room_arrows="messaging>webgate relations>messaging remote>messaging"

third_party='<(boost/|sqlite3\.h|curl/|openssl/|unicode/|libpq|sql\.h|sqlext\.h|sys/epoll\.h|sys/socket\.h|netinet/|arpa/)'
findings=0

Finding() {
  echo "$1: $2"
  findings=$((findings + 1))
}

# The layer of a file of the tree, or of an included header as it is written, by its path.
LayerOf() {
  local path=${1#src/}
  case "$path" in
    main.cpp) echo main ;;
    */*) echo "${path%%/*}" ;;
    *) echo none ;;
  esac
}

IsRoom() { [[ "${floor[$1]:-}" == 4 ]]; }

# MayInclude <file> <its layer> <included header> <its layer>
MayInclude() {
  local file=$1 from=$2 header=$3 to=$4
  [[ "$from" == "$to" ]] && return 0
  case "$from" in
    tests | bench | fuzz) return 0 ;;
  esac
  [[ -n "${floor[$from]:-}" && -n "${floor[$to]:-}" ]] || return 1
  # A room shows one header, to the floors above it and to a friend by an arrow.
  if IsRoom "$to"; then
    [[ "$header" == "$to/$to.h" ]] || return 1
    if IsRoom "$from"; then
      [[ " $room_arrows " == *" $from>$to "* && "$file" == *.cpp ]]
      return
    fi
  fi
  [[ ${floor[$from]} -gt ${floor[$to]} ]]
}

mapfile -t sources < <(ListSources)

while IFS=: read -r file line text; do
  from=$(LayerOf "$file")
  if [[ "$text" =~ ^[[:space:]]*#[[:space:]]*include[[:space:]]+\"([^\"]+)\" ]]; then
    header=${BASH_REMATCH[1]}
    to=$(LayerOf "$header")
    if [[ ! -f "src/$header" && ! ( "$from" =~ ^(tests|bench|fuzz)$ && -f "$header" ) ]]; then
      Finding "$file:$line" "\"$header\" is not written from src/ (or, beside the product, from the root)"
    elif ! MayInclude "$file" "$from" "$header" "$to"; then
      Finding "$file:$line" "$from must not include $header"
    fi
  elif [[ "$text" =~ $third_party && ! "$from" =~ ^(platform|tests|bench)$ && "$file" != src/tools/client/connection.cpp ]]; then
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
      src/platform/* | tests/platform/*) ;;
      *) Finding "$file" "$header shows third-party headers and is private to platform" ;;
    esac
  done < <(printf '%s\n' "${sources[@]}" | xargs -d '\n' -r grep -lF "\"${header#src/}\"")
done < <(printf '%s\n' "${sources[@]}" | grep '^src/platform/' |
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
