# Steps of a test run: a heading, a log in build/logs, the time it took, and one count over all. Sourced.

log_folder=build/logs
passed=0
failed=0

# Step <name> <command...>  runs the command with its output in a log and counts it as one check.
Step() {
  local name=$1 log began took
  shift
  log="$log_folder/${name//[^a-zA-Z0-9]/_}.log"
  mkdir -p "$log_folder"
  printf '== %s\n' "$name"
  began=$SECONDS
  if "$@" >"$log" 2>&1 </dev/null; then
    took=$((SECONDS - began))
    passed=$((passed + 1))
    printf '   ok, %d s: %s\n' "$took" "$(tail -n 1 "$log")"
    return 0
  fi
  took=$((SECONDS - began))
  failed=$((failed + 1))
  printf '   FAILED, %d s; the end of %s:\n' "$took" "$log"
  tail -n 40 "$log" | sed 's/^/   | /'
  return 1
}

# CountedStep <name> <command...>  runs a command that tests, whose last line is "N passed, N failed", and counts its tests.
CountedStep() {
  local name=$1 log began took counts run bad
  shift
  log="$log_folder/${name//[^a-zA-Z0-9]/_}.log"
  mkdir -p "$log_folder"
  printf '== %s\n' "$name"
  began=$SECONDS
  "$@" >"$log" 2>&1 </dev/null
  local ended=$?
  took=$((SECONDS - began))
  counts=$(tail -n 1 "$log" | grep -xE '[0-9]+ passed, [0-9]+ failed')
  run=${counts%% *}
  bad=$(grep -oE '[0-9]+ failed' <<<"$counts" | grep -oE '[0-9]+')
  # A run that broke off, or that ran nothing, has failed even if no test says so.
  if [[ -z "$counts" || $ended -ne 0 && $bad -eq 0 || $((run + bad)) -eq 0 ]]; then
    counts="broken off"
    run=${run:-0}
    bad=1
  fi
  passed=$((passed + run))
  failed=$((failed + bad))
  if [[ $bad -eq 0 ]]; then
    printf '   ok, %d s: %s\n' "$took" "$counts"
    return 0
  fi
  printf '   FAILED, %d s: %s; from %s:\n' "$took" "$counts" "$log"
  grep -vE '^(# Subtest|ok |  (---|duration_ms|\.\.\.))' "$log" | tail -n 60 | sed 's/^/   | /'
  return 1
}

# Tests <name> <build folder> [ctest arguments...]  runs the tests of a build and counts each of them.
Tests() {
  local name=$1 build=$2 log report began took counts
  shift 2
  log="$log_folder/${name//[^a-zA-Z0-9]/_}.log"
  report="$PWD/$log_folder/${name//[^a-zA-Z0-9]/_}.xml"
  mkdir -p "$log_folder"
  rm -f "$report"
  printf '== %s\n' "$name"
  began=$SECONDS
  ctest --test-dir "$build" -j "$(nproc)" --output-on-failure --no-tests=error \
    --output-junit "$report" "$@" >"$log" 2>&1 </dev/null
  local ended=$?
  took=$((SECONDS - began))

  local run=0 bad=0 skipped=0
  if [[ -f "$report" ]]; then
    run=$(SuiteCount "$report" tests)
    bad=$(SuiteCount "$report" failures)
    # CTest also calls a test "skipped" whose program is missing: that one has failed.
    skipped=$(grep -c '<skipped message="SKIP_' "$report")
    bad=$((bad + $(grep -c '<skipped message=' "$report") - skipped))
    skipped=$((skipped + $(SuiteCount "$report" disabled)))
  fi
  # A run that broke off, or that ran nothing, has failed even if no test says so.
  if [[ $ended -ne 0 && $bad -eq 0 || $((run - skipped)) -le 0 ]]; then
    bad=$((bad + 1))
    run=$((run + 1))
  fi
  passed=$((passed + run - bad - skipped))
  failed=$((failed + bad))
  counts="$((run - bad - skipped)) passed, $bad failed"
  [[ $skipped -eq 0 ]] || counts+=", $skipped skipped"
  if [[ $bad -eq 0 ]]; then
    printf '   ok, %d s: %s\n' "$took" "$counts"
    return 0
  fi
  printf '   FAILED, %d s: %s; from %s:\n' "$took" "$counts" "$log"
  # Without the lines of the tests that passed.
  grep -vE ' Passed +[0-9.]+ sec$|^ +Start +[0-9]+: ' "$log" | tail -n 80 | sed 's/^/   | /'
  return 1
}

# A number from the head of a JUnit report.
SuiteCount() {
  local number
  number=$(grep -m 1 -oE "\b$2=\"[0-9]+\"" "$1" | grep -oE '[0-9]+')
  echo "${number:-0}"
}
