#!/usr/bin/env bash
# Installs what is missing, builds, and runs the tests. The last line is "N passed, N failed".
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

Usage() {
  cat <<'END'
usage: ./test.sh [--full] [--help]

  (nothing)  what every change must pass: formatting, layers, a release build with
             warnings as errors, all tests, those from end to end also on a PostgreSQL
             and through FreeTDS, those of the clients and the gateway, all tests of the
             server again under the address and undefined-behaviour sanitizers,
             clang-tidy on what changed, and whether the package lists hold all that was
             used
  --full     what a release must pass: also a debug build, clang-tidy on everything,
             tests that take long, nodes that share a database, visitor page, web client
             and stories in a headless browser, a minute of libFuzzer on each fuzz target,
             the Wireshark dissector, the Debian packages, and, as root, those, ./run.sh and
             ./test.sh in a Debian where nothing is installed

The database servers are started for the run, on loopback addresses. Logs are in
build/logs. The exit code is 0 when something ran and nothing failed. As root, or with
sudo, missing Debian packages are installed first.
END
}

full=no
for argument in "$@"; do
  case "$argument" in
    --full) full=yes ;;
    --help | -h)
      Usage
      exit 0
      ;;
    *)
      Usage >&2
      exit 2
      ;;
  esac
done

source scripts/steps.sh
source scripts/building.sh
tidy_seconds=${VNQ_TIDY_SECONDS:-150}
fuzz_seconds=${VNQ_FUZZ_SECONDS:-60}
test_options=(-LE '^long$')
long_too=()
# They look at the embedded file itself: its transactions, its triggers, its syncs.
embedded_only='^end_to_end/(TurnCommit|CommandWrites|DurableApplication|UnsyncedReceipt)\.'
# Nodes share a database server.
on_servers_only='^end_to_end/NodesTest\.'
# Without descriptors the checks of the sanitizer itself fail, which open pipes to look at memory; and it has an
# allocator of its own, which ends a process that has no memory left.
not_sanitized='^end_to_end/(Process\.OutOfDescriptors|RefusedConnections\.WithoutADescriptor|ShortMemory\.)|^platform/(Memory\.|EventLoopTest\.AHandlerWithoutMemory)'
package_list="test"
if [[ $full == yes ]]; then
  test_options=()
  long_too=(--long)
  package_list=full
fi

Finish() {
  echo
  echo "took $SECONDS s"
  echo "$passed passed, $failed failed"
  [[ $failed -eq 0 && $passed -gt 0 ]]
  exit
}

# Build <folder> <cmake options...>
Build() {
  local folder=$1
  shift
  cmake -S . -B "$folder" -G Ninja -DVNQ_BUILD_TESTS=ON -DVNQ_WARNINGS_AS_ERRORS=ON "$@" &&
    cmake --build "$folder"
}

# BuildStep <name> <command...>: a step that compiles, while no other run does.
BuildStep() {
  local ended=0
  HoldLock build/.lock builds
  Step "$@" || ended=1
  LetLockGo
  return $ended
}

BuildFuzzers() { fuzz/run.sh --build; }
Fuzz() { fuzz/run.sh "$fuzz_seconds" "$1"; }

export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1

# Everything runs beside the database servers that the tests need.
if [[ -z "${VNQ_TEST_POSTGRES:-}" || -z "${VNQ_TEST_TDS:-}" ]]; then
  HoldLock build/.test_lock tests
  Step "packages" scripts/install_packages.sh "$package_list" || Finish
  # What is left running by a run that was killed must not hold the lock.
  scripts/with_postgres.sh scripts/with_tds.sh "$0" "$@" 9>&-
  ended=$?
  [[ $ended -ne 125 ]] || echo "0 passed, 1 failed"
  exit $ended
fi

Step "formatting" scripts/format.sh --check
Step "layers" scripts/check_layers.sh
Step "TDS test server" python3 -m unittest discover -s tests/tds -p '*_test.py'

if BuildStep "release build" Build build/release -DCMAKE_BUILD_TYPE=Release; then
  Tests "release tests" build/release "${test_options[@]}" -E "$on_servers_only"
  VNQ_TEST_DATABASE=postgresql Tests "end to end on PostgreSQL" build/release \
    "${test_options[@]}" -R '^end_to_end/' -E "$embedded_only"
  VNQ_TEST_DATABASE=tds Tests "end to end through FreeTDS" build/release \
    "${test_options[@]}" -R '^end_to_end/' -E "$embedded_only"
fi
if [[ -x build/release/bin/vnqctl ]]; then
  CountedStep "clients" env VNQ_PROGRAMS=build/release/bin clients/test.sh
fi
BuildStep "headers alone" cmake --build build/release --target vnq_headers
if BuildStep "sanitizer build" Build build/asan -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DVNQ_SANITIZE=address,undefined; then
  CountedStep "sanitizer tests" scripts/sharded_tests.py "${long_too[@]}" --exclude "$not_sanitized|$on_servers_only" build/asan
fi

Step "package lists" scripts/check_packages.py build/release build/asan

if [[ $full == no ]]; then
  Step "clang-tidy on changes" scripts/tidy.sh --seconds "$tidy_seconds"
  Finish
fi

# In real time and on real frames, so it wants a machine that is not busy with anything else.
Step "visitor page in a browser" scripts/browser_tests.sh build/release/bin
CountedStep "web client in a browser" env VNQ_PROGRAMS=build/release/bin clients/web/test.sh
CountedStep "stories in a browser" env -u VNQ_TEST_POSTGRES VNQ_PROGRAMS=build/release/bin clients/stories/run.sh
CountedStep "stories on PostgreSQL" env VNQ_PROGRAMS=build/release/bin clients/stories/run.sh

if BuildStep "debug build" Build build/debug -DCMAKE_BUILD_TYPE=Debug; then
  Tests "debug tests" build/debug -E "$on_servers_only"
fi
Step "clang-tidy" scripts/tidy.sh --all
if BuildStep "fuzzer build" BuildFuzzers; then
  for source in fuzz/*.cpp; do
    name=$(basename "$source" .cpp)
    [[ "$name" == standalone_main ]] || Step "fuzz $name" Fuzz "$name"
  done
fi
Step "protocol in Wireshark" scripts/check_dissector.py build/release/bin
# Suites of two parties and more, who are on two nodes here; each test that is left out has its reason beside it.
VNQ_TEST_DATABASE=postgresql VNQ_TEST_NODES=2 Tests "end to end on two nodes" build/release \
  -R "^end_to_end/($(paste -sd'|' tests/nodes/suites.txt))\\." \
  -E "/($(sed 's/ .*//' tests/nodes/left_out.txt | paste -sd'|'))\$"
Step "NATS declarations" g++ -std=c++20 -Wall -Wextra -Werror -fsyntax-only -Isrc tests/nodes/nats_header_check.cpp
Step "nodes that fail" env VNQ_BUILD="$PWD/build/release" python3 -m unittest discover -s tests/nodes -p '*_test.py'
Step "examples for monitoring" scripts/check_examples.sh build/release/bin
Step "Debian packages" scripts/package.sh build/release
Step "packages on a bare Debian" scripts/bare_root.sh package build/release
Step "run.sh on a bare Debian" scripts/bare_root.sh run
Step "test.sh on a bare Debian" scripts/bare_root.sh test
Finish
