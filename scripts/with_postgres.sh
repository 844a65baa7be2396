#!/usr/bin/env bash
# Runs a command beside a PostgreSQL server that is made for it and goes with it.
#
#   scripts/with_postgres.sh COMMAND...
#
# The command finds the server in VNQ_TEST_POSTGRES=ADDRESS:PORT, and its socket in the folder that
# VNQ_TEST_POSTGRES_SOCKET names; any user name is let in there without a
# password, "vnq" may do everything. Durability is off, so what it measures is no guide for a deployment.
# Exit code 125: there is no server to run it beside.
set -euo pipefail

programs=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1 || true)
[[ -n "$programs" ]] || { echo "with_postgres: no PostgreSQL server is installed" >&2; exit 125; }

# The server refuses to run as root, and its user must be able to reach the folder.
as_user=()
[[ "$(id -u)" -ne 0 ]] || as_user=(setpriv --reuid=postgres --regid=postgres --init-groups)
# Where only root gets past the root folder, as in a chroot of somebody's own, the user keeps root's right to pass.
[[ "$(id -u)" -ne 0 || "$(stat -c %A /)" == *[xt] ]] ||
  as_user+=(--securebits=+no_setuid_fixup --inh-caps=+dac_read_search --ambient-caps=+dac_read_search)
data=$(mktemp -d /tmp/vnq_postgres_XXXXXX)
[[ "$(id -u)" -ne 0 ]] || chown postgres: "$data"

# An address of its own, so that runs side by side can all have the usual port.
address="127.$((10 + RANDOM % 200)).$((RANDOM % 254 + 1)).$((RANDOM % 254 + 1))"
port=5432

server=
Stop() {
  [[ -z "$server" ]] || { kill -INT "$server" 2>/dev/null && wait "$server" 2>/dev/null || true; }
  rm -rf "$data"
}
trap Stop EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

cd "$data"
"${as_user[@]}" "$programs/initdb" -D "$data/db" -U vnq -A trust -E UTF8 --locale=C.UTF-8 --no-sync >initdb.log 2>&1 ||
  { cat initdb.log >&2; exit 125; }
cd - >/dev/null
"${as_user[@]}" "$programs/postgres" -D "$data/db" -h "$address" -p "$port" -k "$data" \
  -c fsync=off -c synchronous_commit=off -c full_page_writes=off -c max_connections=200 \
  -c shared_buffers=64MB -c autovacuum=off -c wal_level=minimal -c max_wal_senders=0 >"$data/server.log" 2>&1 &
server=$!
for _ in $(seq 100); do
  "$programs/pg_isready" -q -h "$address" -p "$port" && break
  kill -0 "$server" 2>/dev/null || { cat "$data/server.log" >&2; exit 125; }
  sleep 0.1
done
"$programs/pg_isready" -q -h "$address" -p "$port" || { cat "$data/server.log" >&2; exit 125; }

export VNQ_TEST_POSTGRES="$address:$port" VNQ_TEST_POSTGRES_SOCKET="$data"
"$@"
