#!/usr/bin/env bash
# Lets libFuzzer work on the fuzz targets, with clang and the sanitizers.
#
#   fuzz/run.sh SECONDS [TARGET...]   so long on each target, all of them without a name: main_port, csv, ...
#   fuzz/run.sh --build               builds only
#
# New inputs are kept in build/fuzz/found/, those that fail are build/fuzz/crash-<target>-...; the seeds stay as
# they are. What was found goes into fuzz/corpus/<target>/ and into a named test. Exit code 1: a target failed.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

Build() {
  cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O1 -DCMAKE_CXX_COMPILER=clang++ \
    -DVNQ_BUILD_FUZZERS=ON -DVNQ_SANITIZE=address,undefined -DVNQ_WARNINGS_AS_ERRORS=OFF &&
    cmake --build build/fuzz "$@"
}

Run() {
  local seconds=$1 name=$2 found="build/fuzz/found/$2" seeds="fuzz/corpus/$2"
  mkdir -p "$found"
  [[ -d "$seeds" ]] || seeds=
  "build/fuzz/bin/fuzz_$name" -max_total_time="$seconds" -max_len=4096 -print_final_stats=1 \
    -artifact_prefix="build/fuzz/crash-$name-" "$found" $seeds
}

case "${1:-}" in
  --build) Build; exit ;;
  '' | *[!0-9]*) sed -n '2,8s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
esac
seconds=$1
shift
targets=("$@")
if [[ ${#targets[@]} -eq 0 ]]; then
  for source in fuzz/*.cpp; do
    name=$(basename "$source" .cpp)
    [[ "$name" == standalone_main ]] || targets+=("$name")
  done
fi
for name in "${targets[@]}"; do
  [[ -f "fuzz/$name.cpp" ]] || { echo "fuzz/run.sh: no target $name" >&2; exit 2; }
done
Build --target "${targets[@]/#/fuzz_}" || exit 1

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:strict_string_checks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
failed=()
for name in "${targets[@]}"; do
  echo "== $name"
  Run "$seconds" "$name" || failed+=("$name")
done
[[ ${#failed[@]} -eq 0 ]] || { echo "failed: ${failed[*]}"; exit 1; }
