#!/usr/bin/env bash
# What the gateway costs: memory a session, added latency. See sessions.ts.
#
#   VNQ_PROGRAMS=FOLDER clients/gateway/bench/run.sh [SESSIONS] [ROUNDS]      (default: 1000 20000)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
programs=$(realpath "${VNQ_PROGRAMS:-../build/release/bin}")
export VNQ_PROGRAMS=$programs VNQ_CLIENTS=$PWD PATH=$PATH:$PWD/node_modules/.bin
export NODE_PATH=${NODE_PATH:-$PWD/node_modules:/usr/share/nodejs:/usr/lib/nodejs}
./build_gateway.sh >/dev/null
esbuild gateway/bench/sessions.ts --bundle --platform=node --target=node18 --format=cjs --outfile=.build/bench.cjs \
  --log-level=warning --tsconfig=tsconfig.base.json
ulimit -n "$(ulimit -Hn)"
exec node .build/bench.cjs "$@"
