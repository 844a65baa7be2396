# shellcheck shell=bash
# To be sourced beside a server that scripts/with_postgres.sh has started.

# UsePostgres <folder>: a database of its own for the folder, named by its settings. The language is
# the one that `vnq_bench prepare` gives a folder.
UsePostgres() {
  local name=${1##*/} programs
  programs=$(ls -d /usr/lib/postgresql/*/bin | sort -V | tail -n 1)
  "$programs/createdb" -h "${VNQ_TEST_POSTGRES%:*}" -p "${VNQ_TEST_POSTGRES#*:}" -U vnq "$name"
  mkdir -p "$1/Web/Data"
  printf '[locale]\nlanguage_id=2052\ncode_page=936\n[database]\ndriver=postgresql\nsocket=%s\n' \
    "${VNQ_TEST_POSTGRES_SOCKET:-}" >"$1/platform.ini"
  printf '[server_connection]\nDB_TYPE=postgresql\nDB_SERVER=%s\nDB_PORT=%s\nDB_NAME=%s\nDB_USER=vnq\n' \
    "${VNQ_TEST_POSTGRES%:*}" "${VNQ_TEST_POSTGRES#*:}" "$name" >"$1/Web/Data/DataBase.ini"
}
