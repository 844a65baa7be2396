#!/usr/bin/env bash
# The clients in a headless Chromium, against a real server and gateway.
#
#   VNQ_PROGRAMS=FOLDER clients/stories/run.sh [STORY...]     (default: all)
#
# Takes Debian's chromium and nodejs, and what `npm ci` has put into clients/node_modules. Keeps screenshots in
# build/screenshots. The last line is "N passed, N failed".
set -uo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../testing/running.sh"
UsePrograms "${VNQ_PROGRAMS:-$(dirname "${BASH_SOURCE[0]}")/../../build/release/bin}"
cd "$(dirname "${BASH_SOURCE[0]}")/.."

export VNQ_CLIENTS=$PWD NODE_PATH=$PWD/node_modules
export PATH=$PATH:$PWD/node_modules/.bin
[[ -d node_modules ]] || npm ci --no-fund --no-audit </dev/null || Fail "npm ci has failed"

./build_gateway.sh || Fail "the gateway does not build"
if [[ -f web/index.html ]]; then npm run --silent build --workspace web </dev/null || Fail "the web client does not build"; fi

names=("$@")
[[ ${#names[@]} -gt 0 ]] || names=($(cd stories && ls ./*.test.ts | sed 's#^\./##; s#\.test\.ts$##'))
rm -rf .build/stories
sources=()
for name in "${names[@]}"; do sources+=("stories/$name.test.ts"); done
esbuild "${sources[@]}" --bundle --platform=node --target=node18 --format=cjs --outdir=.build/stories --outbase=stories \
  --out-extension:.js=.cjs --external:playwright-core --sourcemap=inline --log-level=warning \
  --tsconfig=tsconfig.base.json || Fail "the stories do not build"

tests=()
for name in "${names[@]}"; do tests+=(".build/stories/$name.test.cjs"); done
CountTests node --enable-source-maps --test "${tests[@]}"
