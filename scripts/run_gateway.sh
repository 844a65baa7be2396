#!/usr/bin/env bash
# Runs the gateway beside the demo server, until it is told to end.
#
#   scripts/run_gateway.sh LISTEN SERVER FOLDER PROGRAMS      (ADDRESS:PORT, ADDRESS:PORT, the server's folder, that of vnqctl)
set -euo pipefail
clients=$(dirname "${BASH_SOURCE[0]}")/../clients
exec node "$clients/gateway/dist/vnq-gateway.cjs" --listen "$1" --server "$2" --app-path "$3" --vnqctl "$4/vnqctl" \
  --web "$clients/web/dist" --widget "$clients/widget/dist/widget.js" --agents 2,1 --visitor-data "$3/visitors"
