#!/usr/bin/env bash
# Compares two builds of the server in one run and writes a Markdown table on standard output.
set -euo pipefail

Usage() {
  cat <<'END'
usage: bench/compare.sh [options] OLD NEW

  OLD, NEW          two builds of vnq_main_service
  --bench PROGRAM   vnq_bench; build/bench/bin/vnq_bench unless given
  --seconds N       measured time of each run; 3 unless given
  --rounds N        pairs of runs of each row; 2 unless given
  --rows WORDS      rows to run, e.g. "saturated login"; all unless given, which takes ten minutes;
                    "postgres postgres_fastest" on a PostgreSQL server that is made for them;
                    "all" with these
  --limit PERCENT   how much dearer NEW may be; 10 unless given
  --old-rows N      rows of Messeng_Text in the row "rows"; 1000000 unless given

Each row runs OLD and NEW in turn, each time in a fresh process and on its own copy of one folder
(but for the row "rows", whose folder is too large for copies), so that other work on the machine
meets both alike. A row shows the medians. The first column says what is counted: the server's CPU
time for an operation, what it can do in a second, what a connection takes of its memory, or how
long another program that writes to the database waits. Exit code 1 when a row of NEW is worse
than the limit allows, or when a check failed. Waits are shown and not judged: they are the
machine's as much as the server's.
END
}

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
# shellcheck source=bench/postgres_folder.sh
source "$here/bench/postgres_folder.sh"
bench=$here/build/bench/bin/vnq_bench
seconds=3 rounds=2 limit=10 old_rows=1000000
usual="saturated fastest rate2000 rate500 gather500 group notice login broadcast visitor idle slots rows"
usual+=" writer eager_writer"
rows=$usual
arguments=("$@")
while [[ $# -gt 0 && $1 == -* ]]; do
  case "$1" in
    --bench | --seconds | --rounds | --rows | --limit | --old-rows)
      [[ $# -ge 2 ]] || { Usage >&2 && exit 2; }
      name=${1#--}
      declare "${name//-/_}=$2"
      shift
      ;;
    --help | -h) Usage && exit 0 ;;
    *) Usage >&2 && exit 2 ;;
  esac
  shift
done
[[ $# -eq 2 ]] || { Usage >&2 && exit 2; }
old=$1 new=$2
[[ $rows != all ]] || rows="$usual postgres postgres_fastest"
[[ " $rows " != *" postgres"* || -n ${VNQ_TEST_POSTGRES:-} ]] ||
  exec "$here/scripts/with_postgres.sh" "${BASH_SOURCE[0]}" "${arguments[@]}"
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

# The row's scenario, what is counted, and what a counted figure is multiplied by:
#   us | per_second | kb | wait_ms (of another program)
Scenario() {
  case "$1" in
    saturated) echo "peer --pairs 40 --window 800" ;;
    fastest) echo "peer --pairs 40 --window 1500" ;;
    rate2000) echo "peer --pairs 20 --rate 2000" ;;
    rate500 | gather500) echo "peer --pairs 20 --rate 500" ;;
    group) echo "group --members 100 --connected 99 --window 20" ;;
    notice) echo "notice --receivers 4000 --window 5" ;;
    login) echo "login --clients 20" ;;
    broadcast) echo "broadcast --clients 1000" ;;
    visitor) echo "visitor --visitors 20 --agents 4" ;;
    idle) echo "idle --clients 10000 --online" ;;
    slots) echo "peer --pairs 40 --window 800 --others 18900" ;;
    rows) echo "peer --pairs 40 --window 800" ;;
    writer | eager_writer) echo "peer --pairs 20 --rate 3000" ;;
    postgres) echo "peer --pairs 20 --window 200" ;;
    postgres_fastest) echo "peer --pairs 20 --window 400" ;;
    *) echo "compare.sh: $1: no such row" >&2 && return 1 ;;
  esac
}
Counted() {
  case "$1" in
    saturated) echo "us 1 a message at saturation, us" ;;
    fastest) echo "per_second 1 messages a second" ;;
    rate2000) echo "us 1 a message at 2,000 a second, us" ;;
    rate500) echo "us 1 a message at 500 a second, us" ;;
    gather500) echo "us 1 the same with gather_ms=20, us" ;;
    group) echo "us 0.010101 a member of a group message, us" ;;
    notice) echo "us 0.0025 a notice to 10,000, ms" ;;
    login) echo "us 1 a log-in session, us" ;;
    broadcast) echo "us 0.001001 a client told of a change, us" ;;
    visitor) echo "us 1 a visitor's line, us" ;;
    idle) echo "kb 1 an idle connection, KB" ;;
    slots) echo "us 1 a message with 19,000 connected, us" ;;
    rows) echo "us 1 a message with $old_rows old rows, us" ;;
    postgres) echo "us 1 a message on PostgreSQL, us" ;;
    postgres_fastest) echo "per_second 1 messages a second on PostgreSQL" ;;
    writer) echo "wait_ms 1 another program's write at 3,000 a second, p50 / p99 / worst wait, ms" ;;
    eager_writer) echo "wait_ms 1 the same of one that tries again every 0.2 ms, ms" ;;
  esac
}

Value() {
  grep -o "\"$1\":[0-9.]*" <<<"$2" | head -n 1 | cut -d: -f2
}

FolderOf() {
  if [[ $1 == postgres* ]]; then echo vnq_compare; else echo folder; fi
}

# The folder that a row is run on. What was copied is on the disk: the server's first sync is not to
# wait for it.
MakeFolder() {
  rm -rf "$2"
  cp -r "$scratch/$(FolderOf "$1")" "$2"
  [[ $1 != gather500 ]] || sed -i 's/^\[network\]$/&\ngather_ms=20/' "$2/platform.ini"
  find "$2" -type f -exec sync -d {} +
}

# StartServer <server> <folder>
StartServer() {
  "$1" --app-path "$2" --bind "$address" 2>"$scratch/server.log" &
  pid=$!
  for _ in $(seq 200); do
    grep -qs ready "$scratch/server.log" && return
    sleep 0.05
  done
  cat "$scratch/server.log" >&2
}

# StartWriter <row> <folder>: the other program of the rows that have one.
StartWriter() {
  local eager=()
  [[ $1 != eager_writer ]] || eager=(--eager)
  "$bench" writer --app-path "$2" --seconds "$((seconds + 1))" "${eager[@]}" >"$scratch/waits" &
  writer=$!
}

# Figure <kind> <scale> <json>: what a run gave; nothing when it ended without.
Figure() {
  case "$1" in
    us) awk -v us="$(Value cpu_us_per_operation "$3")" -v scale="$2" \
      'BEGIN { if (us != "") print us * scale }' ;;
    per_second) awk -v n="$(Value operations "$3")" -v s="$(Value settled_seconds "$3")" \
      'BEGIN { if (s > 0) print n / s }' ;;
    kb) Value kb_per_connection "$3" ;;
    wait_ms) sed -nE 's/.*p50 ([0-9.]+), p99 ([0-9.]+), max ([0-9.]+) ms.*/\1 \2 \3/p' "$scratch/waits" ;;
  esac
}

# Run <server> <row>: the figure.
Run() {
  local server=$1 row=$2 json folder=$scratch/run kind scale writer=
  read -r kind scale _ <<<"$(Counted "$row")"
  if [[ $row == rows ]]; then folder=$scratch/many; else MakeFolder "$row" "$folder"; fi
  StartServer "$server" "$folder"
  [[ $kind != wait_ms ]] || StartWriter "$row" "$folder"
  # shellcheck disable=SC2046
  json=$("$bench" $(Scenario "$row") --server "$address" --pid "$pid" --seconds "$seconds" \
    --quiet --json) || { failed=1 && echo "$row: FAILED ${json##*\"checks\"}" >&2; }
  [[ -z $writer ]] || wait "$writer" || failed=1
  StopServer
  Figure "$kind" "$scale" "$json" || true
}

# Median <file> <column>
Median() {
  cut -d' ' -f"$2" "$1" | sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'
}

# One line of the table; false where NEW is worse than the limit allows.
Line() {
  local kind=$1 words=$2
  if [[ ! -s $scratch/old || ! -s $scratch/new ]]; then
    echo "| $words | $(Median "$scratch/old" 1) | $(Median "$scratch/new" 1) | FAILED |"
    return 1
  fi
  if [[ $kind == wait_ms ]]; then
    Waits() { echo "$(Median "$1" 1) / $(Median "$1" 2) / $(cut -d' ' -f3 "$1" | sort -g | tail -n 1)"; }
    echo "| $words | $(Waits "$scratch/old") | $(Waits "$scratch/new") | |"
    return
  fi
  awk -v words="$words" -v kind="$kind" -v a="$(Median "$scratch/old" 1)" \
    -v b="$(Median "$scratch/new" 1)" -v limit="$limit" 'BEGIN {
      format = a < 1000 ? "%.1f" : "%.0f"
      printf("| %s | " format " | " format " | %.2f |\n", words, a, b, a > 0 ? b / a : 0)
      exit kind == "per_second" ? b < a / (1 + limit / 100) : b > a * (1 + limit / 100) }'
}

"$bench" prepare --app-path "$scratch/folder" --users 19100 --message-rows 1000 >&2
if [[ " $rows " == *" rows "* ]]; then
  "$bench" prepare --app-path "$scratch/many" --message-rows "$old_rows" >&2
fi
if [[ " $rows " == *" postgres"* ]]; then
  UsePostgres "$scratch/vnq_compare"
  "$bench" prepare --app-path "$scratch/vnq_compare" --users 1000 --message-rows 1000 >&2
fi
echo "| | OLD | NEW | NEW / OLD |"
echo "|---|--:|--:|--:|"
for row in $rows; do
  Scenario "$row" >/dev/null
  read -r kind _ words <<<"$(Counted "$row")"
  : >"$scratch/old" && : >"$scratch/new"
  for _ in $(seq "$rounds"); do
    echo "$row" >&2
    Run "$old" "$row" >>"$scratch/old"
    Run "$new" "$row" >>"$scratch/new"
  done
  Line "$kind" "$words" || failed=1
done
exit $failed
