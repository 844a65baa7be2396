#!/usr/bin/env bash
# Formats every C++ file of the project in place; with --check it only names those that would change, and comment lines
# over 100 columns, which are left to whoever writes them: a table in a comment keeps its shape.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/sources.sh

# Versions differ in what they write; the one of Debian 12 decides.
formatter=$(command -v clang-format-14 || command -v clang-format)

# Letters count, not bytes. Not asked: what stands where clang-format is off, where code may be wider too.
LongComments() {
  ListSources | LC_ALL=C xargs -d '\n' -r awk '
    FNR == 1 || /clang-format on/ { formatted = 1 }
    /clang-format off/ { formatted = 0 }
    formatted && length($0) > 100 && /^ *(\/\/|\/\*|\* )|  \/\/ / {
      gsub(/[\200-\277]/, "")
      if (length($0) > 100) print FILENAME ":" FNR ": comment of " length($0) " columns"
    }'
}

Unformatted() {
  ListSources | xargs -d '\n' -r -n 40 -P "$(nproc)" "$formatter" --dry-run 2>&1 |
    sed -nE 's/^([^ :]+):[0-9]+:[0-9]+: .*clang-formatted.*/\1: not formatted/p' | sort -u
}

Check() {
  local unformatted long
  unformatted=$(Unformatted)
  long=$(LongComments)
  [[ -z "$unformatted" ]] || printf '%s\n%s\n' "$unformatted" "scripts/format.sh formats them"
  [[ -z "$long" ]] || echo "$long"
  [[ -z "$unformatted" && -z "$long" ]]
}

case "${1:-}" in
  "") ListSources | xargs -d '\n' -r "$formatter" -i ;;
  --check) Check ;;
  *)
    echo "usage: $0 [--check]" >&2
    exit 2
    ;;
esac
