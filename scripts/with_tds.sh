#!/usr/bin/env bash
# Runs a command beside the TDS test server, which stands for SQL Server behind FreeTDS.
#
#   scripts/with_tds.sh COMMAND...
#
# The command finds it in VNQ_TEST_TDS=ADDRESS:PORT:FOLDER; the folder holds one SQLite file a database, made at
# the first log-in that names it. See tests/tds/README.md for what it can and what it cannot show.
# Exit code 125: the server does not start.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

folder=$(mktemp -d /tmp/vnq_tds_XXXXXX)
address="127.$((10 + RANDOM % 200)).$((RANDOM % 254 + 1)).$((RANDOM % 254 + 1))"
port=1433

server=
Stop() {
  [[ -z "$server" ]] || { kill -TERM "$server" 2>/dev/null && wait "$server" 2>/dev/null || true; }
  rm -rf "$folder"
}
trap Stop EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

mkdir "$folder/files"
python3 "$here/tests/tds/tds_server.py" --address "$address" --port "$port" --folder "$folder/files" \
  >"$folder/log" 2>&1 &
server=$!
for _ in $(seq 100); do
  grep -qs ready "$folder/log" && break
  kill -0 "$server" 2>/dev/null || break
  sleep 0.1
done
grep -qs ready "$folder/log" || { cat "$folder/log" >&2; exit 125; }

export VNQ_TEST_TDS="$address:$port:$folder/files"
"$@"
