#!/usr/bin/env bash
# Type-checks and tests the workspaces against a real server. Node's test reporter tells the counts.
#
#   VNQ_PROGRAMS=FOLDER clients/test.sh [WORKSPACE...]     (default: protocol client gateway web)
#
# VNQ_PROGRAMS is the folder of vnq_main_service and vnqctl (default: build/release/bin). Takes Debian's nodejs,
# esbuild, node-typescript and node-ws, or what `npm ci` has put into node_modules. Writes to clients/.build.
# The last line is "N passed, N failed".
set -uo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/testing/running.sh"
UsePrograms "${VNQ_PROGRAMS:-$(dirname "${BASH_SOURCE[0]}")/../build/release/bin}"
cd "$(dirname "${BASH_SOURCE[0]}")"

export VNQ_CLIENTS=$PWD
# Where Debian keeps the packages of Node.
export NODE_PATH=${NODE_PATH:-$PWD/node_modules:/usr/share/nodejs:/usr/lib/nodejs}
export PATH=$PATH:$PWD/node_modules/.bin
for tool in node esbuild tsc; do
  command -v "$tool" >/dev/null || Fail "there is no $tool: scripts/install_packages.sh test installs it"
done

workspaces=("$@")
[[ ${#workspaces[@]} -gt 0 ]] || workspaces=(protocol client gateway web)

tsc -p tsconfig.json || Fail "the types do not fit"

rm -rf .build/tests
sources=()
for workspace in "${workspaces[@]}"; do
  for source in "$workspace"/test/*.test.ts; do
    [[ -f "$source" ]] && sources+=("$source")
  done
done
[[ ${#sources[@]} -gt 0 ]] || Fail "there are no tests in ${workspaces[*]}"
# One bundle a test file; .cjs, so that packages from Debian can be bundled along.
esbuild "${sources[@]}" --bundle --platform=node --target=node18 --format=cjs --outdir=.build/tests --outbase=. \
  --out-extension:.js=.cjs --sourcemap=inline --log-level=warning --tsconfig=tsconfig.base.json ||
  Fail "the tests do not build"

tests=()
for source in "${sources[@]}"; do tests+=(".build/tests/${source%.ts}.cjs"); done
CountTests node --enable-source-maps --test "${tests[@]}"
