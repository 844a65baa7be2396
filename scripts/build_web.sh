#!/usr/bin/env bash
# Builds what `./run.sh --web` serves: the gateway, the visitor widget, the staff's client.
#
#   scripts/build_web.sh LOG
#
# The gateway and the widget take Debian packages only; the staff's client takes packages from npm, fetched once.
set -euo pipefail
log=$(realpath "$1")
cd "$(dirname "${BASH_SOURCE[0]}")/../clients"

Failed() {
  {
    echo "$1; the end of $log:"
    tail -n 15 "$log"
  } >&2
  exit 1
}

if [[ ! -d node_modules || package-lock.json -nt node_modules ]]; then
  echo "Fetching the packages of the web client ..."
  npm ci --no-fund --no-audit >>"$log" 2>&1 </dev/null || {
    echo "The packages of the staff's web client cannot be fetched. npm must reach its registry, here or through the" >&2
    echo "proxy that 'npm config set proxy' names; or copy clients/node_modules from a machine where it could." >&2
    echo "Without them ./run.sh (no --web) runs the server and its client for the terminal." >&2
    Failed "npm ci has failed"
  }
  touch node_modules
fi
./build_gateway.sh >>"$log" 2>&1 || Failed "The gateway does not build"
npm run --silent build --workspace web >>"$log" 2>&1 </dev/null || Failed "The staff's web client does not build"
cp widget/demo.html web/dist/visitor.html
cp widget/demo.css web/dist/demo.css
