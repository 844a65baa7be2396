#!/usr/bin/env bash
# The web client in a headless Chromium, against a real server and gateway.
#
#   VNQ_PROGRAMS=FOLDER clients/web/test.sh [TEST FILE...]     (default: all)
#
# Takes Debian's chromium and nodejs, and what `npm ci` has put into clients/node_modules. Keeps screenshots in
# build/screenshots. The last line is "N passed, N failed".
set -uo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../testing/running.sh"
UsePrograms "${VNQ_PROGRAMS:-$(dirname "${BASH_SOURCE[0]}")/../../build/release/bin}"
cd "$(dirname "${BASH_SOURCE[0]}")/.."

export VNQ_SCREENSHOTS=${VNQ_SCREENSHOTS:-$PWD/../build/screenshots}
VNQ_CHROMIUM=${VNQ_CHROMIUM:-$(command -v chromium)} || Fail "there is no chromium"
export VNQ_CHROMIUM
[[ -d node_modules ]] || npm ci --no-fund --no-audit </dev/null || Fail "npm ci has failed"

./build_gateway.sh || Fail "the gateway does not build"
npm run --silent check --workspace web </dev/null || Fail "the types of the web client do not fit"
npm run --silent build --workspace web </dev/null || Fail "the web client does not build"

tests=("$@")
[[ ${#tests[@]} -gt 0 ]] || tests=(web/tests/*.test.js)
CountTests node --test "${tests[@]}"
