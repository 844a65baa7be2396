#!/usr/bin/env bash
# Formats every C++ file of the project in place; with --check it only names those that would change.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/sources.sh

# Versions differ in what they write; the one of Debian 12 decides.
formatter=$(command -v clang-format-14 || command -v clang-format)

Check() {
  local file changed=0
  while read -r file; do
    "$formatter" "$file" | diff -q "$file" - >/dev/null && continue
    echo "$file: not formatted"
    changed=$((changed + 1))
  done < <(ListSources)
  [[ $changed -eq 0 ]] && return
  echo "$changed files; scripts/format.sh formats them"
  return 1
}

case "${1:-}" in
  "") ListSources | xargs -d '\n' -r "$formatter" -i ;;
  --check) Check ;;
  *)
    echo "usage: $0 [--check]" >&2
    exit 2
    ;;
esac
