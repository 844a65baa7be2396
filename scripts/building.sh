# What run.sh and test.sh share: one build at a time in this tree, and a word on how far it is. Sourced.

# HoldLock <file> <what the other one does>: holds the lock until LetLockGo; says so when it has to wait.
HoldLock() {
  mkdir -p "$(dirname "$1")"
  exec 9>"$1"
  flock -n 9 && return
  echo "Another ./run.sh or ./test.sh $2 in this folder; waiting until it has ended ..."
  flock 9
}
LetLockGo() { exec 9>&-; }

# BuildQuietly <what to call it> <log> <cmake --build arguments...>: the output goes to the log, how far it is to the
# screen. Says nothing when there is nothing to build.
BuildQuietly() {
  local what=$1 log=$2
  shift 2
  # Ctrl-C reaches all of them: these two stay until ninja has said its last word.
  NINJA_STATUS='[%f/%t] ' cmake --build "$@" 2>&1 </dev/null | tee -i -a "$log" |
    (trap '' INT && ShowProgress "$what")
}

# Reads what ninja prints. One line that is written anew on a terminal, elsewhere a line every tenth.
ShowProgress() {
  local what=$1 line share told=-1
  while IFS= read -r line; do
    [[ "$line" =~ ^\[([0-9]+)/([0-9]+)\]\ (Building|Linking|Generating) ]] || continue
    share=$((100 * BASH_REMATCH[1] / BASH_REMATCH[2]))
    if [[ -t 1 ]]; then
      printf '\r%s: %d %% (%d of %d)' "$what" $share "${BASH_REMATCH[1]}" "${BASH_REMATCH[2]}"
      told=$share
    elif [[ $((share / 10)) -gt $told ]]; then
      printf '%s: %d %%\n' "$what" $share
      told=$((share / 10))
    fi
  done
  [[ ! -t 1 || $told -lt 0 ]] || echo
}
