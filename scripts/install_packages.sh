#!/usr/bin/env bash
# Installs the Debian 12 packages that are missing. Does nothing, and asks for nothing, when all are there.
#
#   scripts/install_packages.sh [run|test|full]
#
#   run   what building and running the server takes (the default)
#   test  also what ./test.sh takes
#   full  also what ./test.sh --full takes
set -euo pipefail

run_packages=(g++ cmake ninja-build pkg-config sqlite3 libboost-context1.81-dev libicu-dev
  libsqlite3-dev libpq-dev libcurl4-openssl-dev libcli11-dev libfmt-dev libspdlog-dev)
test_packages=(libgtest-dev libgmock-dev mdbtools clang-format clang-tidy)
full_packages=(clang libclang-rt-14-dev libbenchmark-dev)

wanted=("${run_packages[@]}")
case "${1:-run}" in
  run) ;;
  test) wanted+=("${test_packages[@]}") ;;
  full) wanted+=("${test_packages[@]}" "${full_packages[@]}") ;;
  *)
    echo "usage: $0 [run|test|full]" >&2
    exit 2
    ;;
esac

# One test compares with the JSON.parse of Node; any Node will do.
if [[ "${1:-run}" != run ]] && ! command -v node >/dev/null; then
  wanted+=(nodejs)
fi

missing=()
for package in "${wanted[@]}"; do
  state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
  [[ "$state" == installed ]] || missing+=("$package")
done
if [[ ${#missing[@]} -eq 0 ]]; then
  exit 0
fi

as_root=()
if [[ "$(id -u)" -ne 0 ]]; then
  if ! command -v sudo >/dev/null; then
    echo "Missing packages: ${missing[*]}" >&2
    echo "Run this as root, or install sudo or the packages first." >&2
    exit 1
  fi
  as_root=(sudo)
fi

echo "Installing: ${missing[*]}"
"${as_root[@]}" apt-get update -q </dev/null
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null
