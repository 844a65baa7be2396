#!/usr/bin/env bash
# Runs one of the proofs of docs/reliability.md for as long as wanted, with the programs of a build folder.
#
#   scripts/proof.sh model SEQUENCES        server and model on random sequences
#   scripts/proof.sh kill ROUNDS [ENGINE]   the server is killed; ENGINE is sqlite, postgresql or tds
#   scripts/proof.sh power ROUNDS           the power is cut under the embedded database
#   scripts/proof.sh faults ROUNDS          disks, locks, files, clocks and addresses that fail and heal
#   scripts/proof.sh soak SECONDS           odd clients and storms of connections
#   scripts/proof.sh waits PERCENT          how long a keep-alive waits while others send much; 100 is all of it
#   scripts/proof.sh fuzz SECONDS [TARGET]  each fuzz target, see fuzz/run.sh
#
# VNQ_BUILD names the build folder (build); VNQ_SEED another chance (1). What was done is the last line but the test
# program's own. Exit code 0: nothing was lost.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

Usage() { sed -n '2,13s/^# \{0,1\}//p' "$0" >&2; exit 2; }

what=${1:-}
amount=${2:-}
engine=${3:-sqlite}
[[ "$amount" =~ ^[0-9]+$ ]] || Usage
programs=${VNQ_BUILD:-build}/bin

Crash() {
  case "$engine" in
    sqlite) "$programs/vnq_crash_tests" --gtest_filter="$1" ;;
    postgresql) scripts/with_postgres.sh env VNQ_TEST_DATABASE=postgresql "$programs/vnq_crash_tests" --gtest_filter="$1" ;;
    tds) scripts/with_tds.sh env VNQ_TEST_DATABASE=tds "$programs/vnq_crash_tests" --gtest_filter="$1" ;;
    *) Usage ;;
  esac
}

case "$what" in
  model)
    "$programs/vnq_model_tests" --gtest_filter='*EveryRecord*' --seeds "$amount" --first "${VNQ_SEED:-1}"
    ;;
  kill) VNQ_ROUNDS=$amount Crash 'KillRounds.*' ;;
  power) VNQ_ROUNDS=$amount Crash 'PowerCut.*' ;;
  faults) VNQ_ROUNDS=$amount Crash 'FaultRounds.*' ;;
  soak) VNQ_SECONDS=$amount Crash 'Soak.*' ;;
  waits) VNQ_PERCENT=$amount Crash 'LongestWait.*' ;;
  fuzz) fuzz/run.sh "$amount" ${3:+"$3"} ;;
  *) Usage ;;
esac
