# What the scripts that run tests in Node have in common, for `source`.

Fail() {
  echo "$1" >&2
  echo "0 passed, 1 failed"
  exit 1
}

# UsePrograms FOLDER: exports VNQ_PROGRAMS, the folder of vnq_main_service and vnqctl.
UsePrograms() {
  VNQ_PROGRAMS=$(realpath "$1") || Fail "there is no $1"
  [[ -x "$VNQ_PROGRAMS/vnq_main_service" && -x "$VNQ_PROGRAMS/vnqctl" ]] || Fail "no programs in $VNQ_PROGRAMS"
  export VNQ_PROGRAMS
}

# CountTests COMMAND...: runs Node's test runner; the last line is "N passed, N failed", and the exit code tells the same.
CountTests() {
  local report passed failed
  report=$(mktemp)
  "$@" </dev/null |& tee "$report"
  passed=$(CountOf pass "$report")
  failed=$(($(CountOf fail "$report") + $(CountOf cancelled "$report")))
  rm -f "$report"
  # A run that broke off, or that ran nothing, has failed even if no test says so.
  [[ $passed -gt 0 || $failed -gt 0 ]] || failed=1
  echo "$passed passed, $failed failed"
  [[ $failed -eq 0 ]]
}

# "# pass 3" of the one reporter and "i pass 3" of the other.
CountOf() {
  local number
  number=$(grep -oE "^[^ ]+ $1 [0-9]+$" "$2" | grep -oE '[0-9]+$' | tail -n 1)
  echo "${number:-0}"
}
