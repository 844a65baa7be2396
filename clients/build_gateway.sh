#!/usr/bin/env bash
# Builds the gateway into gateway/dist/vnq-gateway.cjs, one file that runs with Node 18 and newer and nothing else, and the
# visitor widget into widget/dist/widget.js.
#
#   clients/build_gateway.sh
#
# Takes Debian's esbuild and node-ws, or what `npm ci` has put into node_modules.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
export PATH=$PATH:$PWD/node_modules/.bin
# Where Debian keeps the packages of Node.
export NODE_PATH=${NODE_PATH:-$PWD/node_modules:/usr/share/nodejs:/usr/lib/nodejs}

options=(--bundle --tsconfig=tsconfig.base.json --log-level=warning --charset=utf8)
esbuild gateway/src/main.ts "${options[@]}" --platform=node --target=node18 --format=cjs \
  --banner:js='#!/usr/bin/env node' --outfile=gateway/dist/vnq-gateway.cjs
chmod +x gateway/dist/vnq-gateway.cjs
esbuild widget/src/widget.ts "${options[@]}" --minify --format=iife --target=es2020 --outfile=widget/dist/widget.js
echo "built gateway/dist/vnq-gateway.cjs and widget/dist/widget.js"
