#!/usr/bin/env bash
# The visitor page in a headless Chromium, and the gateway's handshake with an independent client.
#
#   scripts/browser_tests.sh [FOLDER OF THE PROGRAMS]     (default: build/bin)
#
# Installs what is missing: Debian's chromium and nodejs with npm, and the packages of
# tests/browser. Keeps a screenshot, build/visitor_page.png. The last line is "N passed, N failed".
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

source clients/testing/running.sh
UsePrograms "${1:-build/bin}"

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

cd "$folder" || exit 1
VNQ_CHROMIUM="$(command -v chromium)" VNQ_SCREENSHOTS="${VNQ_SCREENSHOTS:-../../build}" CountTests npm test --silent
