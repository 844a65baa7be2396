#!/usr/bin/env bash
# Runs clang-tidy, in parallel, with the checks of .clang-tidy.
#
#   scripts/tidy.sh                 the sources that changed against main (else against the commit before)
#   scripts/tidy.sh --all           every source
#   scripts/tidy.sh FILE...         these sources
#   ... --seconds N                 starts no further file after N seconds, and says how many it left out
#
# Headers are looked at through the sources that include them. Exit code 1 on a finding.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/sources.sh

seconds=0
all=no
files=()
while [[ $# -gt 0 ]]; do
  case "$1" in
    --all) all=yes ;;
    --seconds) seconds=$2 && shift ;;
    -*)
      sed -n '2,9s/^# \{0,1\}//p' "$0" >&2
      exit 2
      ;;
    *) files+=("$1") ;;
  esac
  shift
done

# The commit that changes are counted from. Empty: there is none to compare with.
BaseCommit() {
  local branch base
  for branch in origin/main origin/HEAD; do
    base=$(git merge-base HEAD "$branch" 2>/dev/null) || continue
    if [[ "$base" != "$(git rev-parse HEAD)" ]]; then
      echo "$base"
      return
    fi
  done
  git rev-parse --verify -q HEAD~1 2>/dev/null || true
}

# For a header: the source of the same name, else one source that includes it.
SourceOf() {
  local file=$1
  if [[ "$file" == *.cpp ]]; then
    echo "$file"
  elif [[ -f "${file%.h}.cpp" ]]; then
    echo "${file%.h}.cpp"
  else
    ListSources | grep '\.cpp$' | xargs -d '\n' -r grep -lF "\"${file#src/}\"" | head -n 1 || true
  fi
}

ChangedSources() {
  local base file
  base=$(BaseCommit)
  if [[ -z "$base" ]]; then
    ListSources | grep '\.cpp$'
    return
  fi
  {
    git diff --name-only --diff-filter=d "$base" -- '*.h' '*.cpp'
    git ls-files --others --exclude-standard -- '*.h' '*.cpp'
  } | while read -r file; do
    [[ -f "$file" ]] && SourceOf "$file"
  done | LC_ALL=C sort -u
}

if [[ $all == yes ]]; then
  mapfile -t files < <(ListSources | grep '\.cpp$')
elif [[ ${#files[@]} -eq 0 ]]; then
  mapfile -t files < <(ChangedSources)
fi
# Fuzz targets and benchmarks are built by hand-picked settings of their own.
mapfile -t files < <(printf '%s\n' "${files[@]}" | grep -vE '^(fuzz|bench)/|^$')
if [[ ${#files[@]} -eq 0 ]]; then
  echo "no source to look at"
  exit 0
fi

# Nothing is built in it: it only tells clang-tidy how each source is compiled.
cmake -S . -B build/tidy -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVNQ_BUILD_TESTS=ON >/dev/null

export TIDY=$(command -v clang-tidy-14 || command -v clang-tidy)
export TIDY_START=$(date +%s)
export TIDY_SECONDS=$seconds
left_out=$(mktemp)
export TIDY_LEFT_OUT=$left_out
trap 'rm -f "$left_out"' EXIT

CheckOne() {
  if [[ $TIDY_SECONDS -gt 0 && $(($(date +%s) - TIDY_START)) -ge $TIDY_SECONDS ]]; then
    echo "$1" >>"$TIDY_LEFT_OUT"
    return 0
  fi
  "$TIDY" --quiet -p build/tidy --extra-arg=-Wno-unknown-warning-option "$1" 2> >(grep -vE '^[0-9]+ warnings? (generated|treated)' >&2)
}
export -f CheckOne

result=0
printf '%s\n' "${files[@]}" | xargs -d '\n' -P "$(nproc)" -I{} bash -c 'CheckOne "$1"' - {} || result=1
skipped=$(wc -l <"$left_out")
echo "$((${#files[@]} - skipped)) of ${#files[@]} sources looked at"
[[ $skipped -eq 0 ]] || echo "out of time for $skipped: $(tr '\n' ' ' <"$left_out")"
exit $result
