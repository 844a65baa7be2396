#!/usr/bin/env bash
# The web client in a headless Chromium, against a real server and gateway.
#
#   VNQ_PROGRAMS=FOLDER clients/web/test.sh [TEST FILE...]     (default: all)
#
# Takes Debian's chromium and nodejs, and what `npm ci` has put into clients/node_modules. Keeps screenshots in
# build/screenshots. The last line is "N passed, N failed".
set -uo pipefail
programs=${VNQ_PROGRAMS:+$(realpath "$VNQ_PROGRAMS")}
cd "$(dirname "${BASH_SOURCE[0]}")/.."

Fail() {
  echo "$1" >&2
  echo "0 passed, 1 failed"
  exit 1
}

programs=${programs:-$(realpath ../build/release/bin)}
[[ -x "$programs/vnq_main_service" && -x "$programs/vnqctl" ]] || Fail "no programs in $programs"
export VNQ_PROGRAMS=$programs VNQ_SCREENSHOTS=${VNQ_SCREENSHOTS:-$PWD/../build/screenshots}
VNQ_CHROMIUM=${VNQ_CHROMIUM:-$(command -v chromium)} || Fail "there is no chromium"
export VNQ_CHROMIUM
[[ -d node_modules ]] || npm ci --no-fund --no-audit </dev/null || Fail "npm ci has failed"

./build_gateway.sh || Fail "the gateway does not build"
npm run --silent check --workspace web </dev/null || Fail "the types of the web client do not fit"
npm run --silent build --workspace web </dev/null || Fail "the web client does not build"

tests=("$@")
[[ ${#tests[@]} -gt 0 ]] || tests=(web/tests/*.test.js)
report=$(mktemp)
trap 'rm -f "$report"' EXIT
node --test "${tests[@]}" </dev/null |& tee "$report"

Count() {
  local number
  number=$(grep -oE "^[^ ]+ $1 [0-9]+$" "$report" | grep -oE '[0-9]+$' | tail -n 1)
  echo "${number:-0}"
}
passed=$(Count pass)
failed=$(($(Count fail) + $(Count cancelled)))
# A run that broke off, or that ran nothing, has failed even if no test says so.
[[ $passed -gt 0 || $failed -gt 0 ]] || failed=1
echo "$passed passed, $failed failed"
[[ $failed -eq 0 ]]
