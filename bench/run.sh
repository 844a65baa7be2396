#!/usr/bin/env bash
# Measures a server of this tree for some minutes and writes one Markdown page on standard output.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
# shellcheck source=bench/postgres_folder.sh
source "$here/bench/postgres_folder.sh"

Usage() {
  cat <<'END'
usage: bench/run.sh [--build DIR] [--server PROGRAM] [--seconds N] [--postgres] [--no-suites] [--help]

  --build DIR       build folder, made and built when needed; build/bench unless given
  --server PROGRAM  another build of the server to measure
  --seconds N       measured time of each scenario; 4 unless given
  --postgres        on a PostgreSQL server that is made for it, reached through its socket
  --no-suites       leave the benchmark suites out

Everything runs on a loopback address and in a temporary folder. The connections of the two
largest scenarios need 10,100 descriptors. Exit code 1 when a check has failed.
END
}

build=build/bench
server=
seconds=4
suites=yes
postgres=no
arguments=("$@")
while [[ $# -gt 0 ]]; do
  case "$1" in
    --build | --server | --seconds)
      [[ $# -ge 2 ]] || { Usage >&2 && exit 2; }
      declare "${1#--}=$2"
      shift
      ;;
    --no-suites) suites=no ;;
    --postgres) postgres=yes ;;
    --help | -h)
      Usage
      exit 0
      ;;
    *)
      Usage >&2
      exit 2
      ;;
  esac
  shift
done

[[ $postgres == no || -n ${VNQ_TEST_POSTGRES:-} ]] ||
  exec "$here/scripts/with_postgres.sh" "${BASH_SOURCE[0]}" "${arguments[@]}"

cd "$here"
targets=(vnq_main_service vnq_bench)
[[ $suites == no ]] || targets+=(vnq_bench_suites)
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVNQ_BUILD_BENCH=ON >/dev/null
cmake --build "$build" --target "${targets[@]}" >&2
server=${server:-$build/bin/vnq_main_service}
bench=$build/bin/vnq_bench
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

# A fresh process for each row, so that memory is that row's own.
StartServer() {
  "$server" --app-path "$1" --bind "$address" 2>"$scratch/server.log" &
  pid=$!
  for _ in $(seq 100); do
    grep -q ready "$scratch/server.log" && return
    sleep 0.1
  done
  cat "$scratch/server.log" >&2
  exit 1
}

# Row <folder> <scenario and its options...>
Row() {
  local folder=$1
  shift
  echo "vnq_bench $*" >&2
  StartServer "$folder"
  "$bench" "$@" --server "$address" --pid "$pid" --seconds "$seconds" --quiet --markdown ||
    failed=1
  StopServer
}

Prepare() {
  [[ $postgres == no ]] || UsePostgres "$1"
  "$bench" prepare --app-path "$1" --users 12000 --message-rows "$2" >&2
}

Machine() {
  echo "- date: $(date -u +%Y-%m-%d)"
  echo "- machine: $(awk -F': ' '/model name/ { print $2; exit }' /proc/cpuinfo)," \
    "$(nproc) CPUs, $(awk '/MemTotal/ { printf "%.0f GB", $2 / 1048576 }' /proc/meminfo)," \
    "load average $(cut -d' ' -f1 /proc/loadavg) at the start"
  echo "- system: $(. /etc/os-release && echo "$PRETTY_NAME"), kernel $(uname -r)"
  echo "- versions: $("$server" --version), $(c++ --version | head -n 1)," \
    "SQLite $(dpkg-query -W -f '${Version}' libsqlite3-0 2>/dev/null || echo unknown)," \
    "commit $(git rev-parse --short HEAD 2>/dev/null || echo unknown)"
}

Scenarios() {
  Prepare "$scratch/few" 1000
  Prepare "$scratch/many" 1000000
  "$bench" markdown-head
  Row "$scratch/few" peer --pairs 20 --window 200 --others 60 --floor
  Row "$scratch/few" peer --pairs 20 --window 200 --others 9960 --floor
  Row "$scratch/many" peer --pairs 20 --window 200 --others 60 --floor --note "1,000,000 old messages"
  Row "$scratch/few" peer --pairs 20 --window 200 --chinese --text-bytes 200 --floor --note Chinese
  Row "$scratch/few" peer --pairs 40 --window 400 --floor --note saturated
  Row "$scratch/few" peer --pairs 20 --rate 2000 --floor
  Row "$scratch/few" peer --pairs 20 --rate 500 --floor
  Row "$scratch/few" group --members 100 --connected 99 --window 20
  Row "$scratch/few" group --members 1000 --connected 999 --window 5
  Row "$scratch/few" login --clients 20
  Row "$scratch/few" broadcast --clients 1000
  Row "$scratch/few" idle --clients 10000 --online
  Row "$scratch/few" visitor --visitors 20 --agents 4
}

# CSV to a table: name, CPU time of one iteration, label.
Suites() {
  "$build/bin/vnq_bench_suites" --benchmark_min_time=0.2 --benchmark_format=csv 2>/dev/null |
    awk -F, 'BEGIN { print "| benchmark | CPU time of one |\n|---|--:|" }
      started { gsub(/"/, ""); label = $8 == "" ? "" : " (" $8 ")"
                printf("| %s%s | " ($4 < 100 ? "%.1f" : "%.0f") " %s |\n", $1, label, $4, $5) }
      /^name,/ { started = 1 }'
}

Machine
echo
Scenarios
if [[ $suites == yes ]]; then
  echo
  Suites
fi
exit $failed
