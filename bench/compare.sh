#!/usr/bin/env bash
# Compares two builds of the server in one run and writes a Markdown table on standard output.
set -euo pipefail

Usage() {
  cat <<'END'
usage: bench/compare.sh [options] OLD NEW

  OLD, NEW          two builds of vnq_main_service
  --bench PROGRAM   vnq_bench; build/bench/bin/vnq_bench unless given
  --seconds N       measured time of each row; 4 unless given
  --rounds N        pairs of runs of each row; 3 unless given
  --rows WORDS      rows to run, e.g. "saturated login"; all unless given
  --limit PERCENT   how much dearer NEW may be; 10 unless given

Each row runs OLD and NEW in turn, each on its own copy of one folder and in a fresh process, so that
other work on the machine meets both alike. A row shows the medians of the server's CPU time for an
operation. Exit code 1 when a row of NEW is dearer than the limit allows, or when a check failed.
END
}

bench=$(dirname "${BASH_SOURCE[0]}")/../build/bench/bin/vnq_bench
seconds=4 rounds=3 limit=10
rows="saturated rate2000 rate500 group login broadcast idle visitor"
while [[ $# -gt 0 && $1 == -* ]]; do
  case "$1" in
    --bench | --seconds | --rounds | --rows | --limit)
      [[ $# -ge 2 ]] || { Usage >&2 && exit 2; }
      declare "${1#--}=$2"
      shift
      ;;
    --help | -h) Usage && exit 0 ;;
    *) Usage >&2 && exit 2 ;;
  esac
  shift
done
[[ $# -eq 2 ]] || { Usage >&2 && exit 2; }
old=$1 new=$2
for program in "$old" "$new" "$bench"; do
  [[ -x $program ]] || { echo "compare.sh: $program: no such program" >&2 && exit 2; }
done
ulimit -n "$(ulimit -Hn)"

scratch=$(mktemp -d)
address=127.$((RANDOM % 200 + 20)).$((RANDOM % 250 + 1)).1
pid=
failed=0
StopServer() {
  [[ -z $pid ]] || { kill -TERM "$pid" 2>/dev/null && wait "$pid" || true; }
  pid=
}
trap 'StopServer; rm -rf "$scratch"' EXIT

# What the scenario of a row is.
Scenario() {
  case "$1" in
    saturated) echo "peer --pairs 40 --window 800" ;;
    rate2000) echo "peer --pairs 20 --rate 2000" ;;
    rate500) echo "peer --pairs 20 --rate 500" ;;
    group) echo "group --members 100 --connected 99 --window 20" ;;
    login) echo "login --clients 20" ;;
    broadcast) echo "broadcast --clients 1000" ;;
    idle) echo "idle --clients 10000 --online" ;;
    visitor) echo "visitor --visitors 20 --agents 4" ;;
    *) echo "compare.sh: $1: no such row" >&2 && return 1 ;;
  esac
}

# Run <server> <scenario and its options...>: "CPU us an operation, operations, KB a connection".
Run() {
  local server=$1 json
  shift
  rm -rf "$scratch/run"
  cp -r "$scratch/folder" "$scratch/run"
  "$server" --app-path "$scratch/run" --bind "$address" 2>"$scratch/server.log" &
  pid=$!
  for _ in $(seq 200); do
    grep -q ready "$scratch/server.log" && break
    sleep 0.05
  done
  json=$("$bench" "$@" --server "$address" --pid "$pid" --seconds "$seconds" --quiet --json) || failed=1
  StopServer
  Value() { grep -o "\"$1\":[0-9.]*" <<<"$json" | head -n 1 | cut -d: -f2; }
  echo "$(Value cpu_us_per_operation) $(awk "BEGIN { print $(Value operations) / $seconds }")" \
    "$(Value kb_per_connection)"
}

# Median <file> <column>
Median() {
  cut -d' ' -f"$2" "$1" | sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'
}

"$bench" prepare --app-path "$scratch/folder" --users 12000 --message-rows 1000 >&2
echo "| row | OLD, us | NEW, us | NEW / OLD | OLD, a second | NEW, a second | OLD, KB a connection | NEW, KB a connection |"
echo "|---|--:|--:|--:|--:|--:|--:|--:|"
for row in $rows; do
  read -ra scenario <<<"$(Scenario "$row")"
  : >"$scratch/old" && : >"$scratch/new"
  for _ in $(seq "$rounds"); do
    echo "${scenario[*]}" >&2
    Run "$old" "${scenario[@]}" >>"$scratch/old"
    Run "$new" "${scenario[@]}" >>"$scratch/new"
  done
  before=$(Median "$scratch/old" 1) after=$(Median "$scratch/new" 1)
  awk -v row="${scenario[*]}" -v a="$before" -v b="$after" \
    -v oldRate="$(Median "$scratch/old" 2)" -v newRate="$(Median "$scratch/new" 2)" \
    -v oldKb="$(Median "$scratch/old" 3)" -v newKb="$(Median "$scratch/new" 3)" -v limit="$limit" 'BEGIN {
      printf("| %s | %.1f | %.1f | %.2f | %.0f | %.0f | %.1f | %.1f |\n", row, a, b, b / a,
             oldRate, newRate, oldKb, newKb)
      exit b > a * (1 + limit / 100) }' || failed=1
done
exit $failed
