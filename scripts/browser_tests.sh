#!/usr/bin/env bash
# The visitor page in a headless Chromium, and the gateway's handshake with an independent client.
#
#   scripts/browser_tests.sh [FOLDER OF THE PROGRAMS]     (default: build/bin)
#
# Installs what is missing: Debian's chromium and nodejs with npm, and the packages of
# tests/browser. Keeps a screenshot, build/visitor_page.png. The last line is "N passed, N failed".
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

Fail() {
  echo "$1" >&2
  echo "0 passed, 1 failed"
  exit 1
}

programs=$(realpath "${1:-build/bin}")
[[ -x "$programs/vnq_main_service" && -x "$programs/vnqctl" ]] || Fail "no programs in $programs"

missing=()
command -v chromium >/dev/null || missing+=(chromium)
command -v node >/dev/null || missing+=(nodejs)
command -v npm >/dev/null || missing+=(npm)
fc-list :lang=zh 2>/dev/null | grep -q . || missing+=(fontconfig fonts-noto-cjk)
if [[ ${#missing[@]} -gt 0 ]]; then
  as_root=()
  [[ "$(id -u)" -eq 0 ]] || as_root=(sudo)
  "${as_root[@]}" apt-get update -q </dev/null
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null ||
    Fail "cannot install ${missing[*]}"
fi

folder=tests/browser
if [[ ! -d $folder/node_modules || $folder/package-lock.json -nt $folder/node_modules ]]; then
  npm ci --prefix "$folder" --no-fund --no-audit </dev/null || Fail "npm ci has failed"
  touch "$folder/node_modules"
fi

report=$(mktemp)
trap 'rm -f "$report"' EXIT
(cd "$folder" && VNQ_PROGRAMS="$programs" VNQ_CHROMIUM="$(command -v chromium)" \
  VNQ_SCREENSHOTS="${VNQ_SCREENSHOTS:-../../build}" npm test --silent) </dev/null |& tee "$report"

Count() {
  local number
  number=$(grep -oE "^. $1 [0-9]+$" "$report" | grep -oE '[0-9]+$' | tail -n 1)
  echo "${number:-0}"
}
passed=$(Count pass)
failed=$(($(Count fail) + $(Count cancelled)))
# A run that broke off, or that ran nothing, has failed even if no test says so.
[[ $passed -gt 0 || $failed -gt 0 ]] || failed=1
echo "$passed passed, $failed failed"
[[ $failed -eq 0 ]]
