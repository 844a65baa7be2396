#!/usr/bin/env bash
# Three nodes on one PostgreSQL, a NATS server between them and HAProxy in front, on loopback addresses, until Ctrl-C.
#
#   examples/nodes/run.sh FOLDER_OF_THE_PROGRAMS [COMMAND...]
#
# With a command it runs that in place of waiting, with the balancer's address in VNQ_BALANCER and the nodes' in
# VNQ_NODE_1 to VNQ_NODE_3. Takes Debian's packages postgresql, nats-server, libnats3.4 and haproxy.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
[[ $# -ge 1 && -x "$1/vnq_main_service" && -x "$1/vnqctl" ]] ||
  { echo "usage: $0 FOLDER_OF_THE_PROGRAMS [COMMAND...]" >&2 && exit 2; }
programs=$(cd "$1" && pwd)

# Everything runs beside a PostgreSQL server that is made for it.
if [[ -z "${VNQ_TEST_POSTGRES:-}" ]]; then
  exec scripts/with_postgres.sh "$0" "$@"
fi
shift
for program in nats-server haproxy psql; do
  command -v "$program" >/dev/null || { echo "$program is missing" >&2 && exit 1; }
done

folder=$(mktemp -d /tmp/vnq_nodes_XXXXXX)
net="127.$((10 + RANDOM % 200)).$((RANDOM % 250 + 1))"
export VNQ_BALANCER=$net.100 VNQ_NODE_1=$net.1 VNQ_NODE_2=$net.2 VNQ_NODE_3=$net.3
database="nodes_$$"
postgres_host=${VNQ_TEST_POSTGRES%:*} postgres_port=${VNQ_TEST_POSTGRES#*:}
started=()

Sql() { psql -X -q -h "$postgres_host" -p "$postgres_port" -U vnq -d "$1" -c "$2"; }
Stop() {
  for process in "${started[@]}"; do kill "$process" 2>/dev/null || true; done
  for process in "${started[@]}"; do wait "$process" 2>/dev/null || true; done
  rm -rf "$folder"
}
trap Stop EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

Start() {
  local log=$folder/$1.log
  shift
  "$@" >"$log" 2>&1 </dev/null &
  started+=($!)
}
WaitFor() {
  for _ in $(seq 300); do
    ! grep -q "$2" "$folder/$1.log" || return 0
    sleep 0.1
  done
  cat "$folder/$1.log" >&2
  exit 1
}

MakeFolder() {
  local node=$1 address=$2 path=$folder/$1
  mkdir -p "$path/Web/Data"
  cat >"$path/platform.ini" <<END
[locale]
language_id=1033
code_page=936
[database]
driver=postgresql
[nodes]
bus=nats://$net.200:4222
name=$node
[listener balanced]
protocol=6004
port=16004
address=$address
proxy_from=127.0.0.0/8
[metrics]
bind_address=$address
port=9464
END
  cat >"$path/Web/Data/DataBase.ini" <<END
[server_connection]
DB_TYPE=postgresql
DB_SERVER=$postgres_host
DB_PORT=$postgres_port
DB_NAME=$database
DB_USER=vnq
END
  "$programs/vnqctl" init --app-path "$path" "${@:3}" >/dev/null
}

Sql postgres "create database $database"
Start bus nats-server -a "$net.200" -p 4222
WaitFor bus "Server is ready"
demo=(--demo) # the first makes the tables and some people
for number in 1 2 3; do
  address=VNQ_NODE_$number
  MakeFolder "n$number" "${!address}" "${demo[@]}"
  demo=()
  Start "n$number" "$programs/vnq_main_service" --app-path "$folder/n$number" --bind "${!address}"
  WaitFor "n$number" "ready on"
done
Start balancer haproxy -f examples/nodes/haproxy.cfg
for _ in $(seq 100); do
  ! (exec 3<>"/dev/tcp/$VNQ_BALANCER/6004") 2>/dev/null || break
  sleep 0.1
done

if [[ $# -gt 0 ]]; then
  "$@"
  exit
fi
echo "balancer: $VNQ_BALANCER:6004; nodes: $VNQ_NODE_1 $VNQ_NODE_2 $VNQ_NODE_3"
echo "folders and logs: $folder"
echo "try:  $programs/vnqctl chat --server $VNQ_BALANCER --user alice"
echo "      $programs/vnqctl status --app-path $folder/n1"
echo "Ctrl-C ends all of it"
while :; do sleep 60; done
