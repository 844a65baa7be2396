#!/usr/bin/env bash
# Installs the Debian 12 packages that are missing. Does nothing, and asks for nothing, when all are there.
#
#   scripts/install_packages.sh [--list] [run|web|test|full]
#
#   run     what building and running the server takes (the default)
#   web     what building the clients for browsers takes besides
#   test    also what ./test.sh takes
#   full    also what ./test.sh --full takes
#   --list  only prints the packages, one a line
#
# What the build reads and the scripts call is held against these lists by scripts/check_packages.sh.
set -euo pipefail

run_packages=(g++ cmake ninja-build pkg-config sqlite3 libboost-context1.81-dev libicu-dev
  libsqlite3-dev libpq-dev unixodbc-dev libcurl4-openssl-dev libssl-dev libarchive-dev libcli11-dev libfmt-dev
  libspdlog-dev)
test_packages=(git python3 openssl libgtest-dev libgmock-dev mdbtools postgresql tdsodbc clang-format clang-tidy)
# The clients in TypeScript; what tests them builds them, too.
web_packages=(esbuild node-typescript node-ws)
full_packages=(clang libclang-rt-14-dev libbenchmark-dev debootstrap dpkg-dev file lintian systemd tshark nats-server
  libnats3.4 libnats-dev haproxy)

list_only=no
[[ "${1:-}" != --list ]] || { list_only=yes && shift; }
list=${1:-run}
wanted=("${run_packages[@]}")
case "$list" in
  run) ;;
  web)
    wanted=("${web_packages[@]}")
    # A Node of one's own brings its npm along.
    command -v npm >/dev/null || wanted+=(npm)
    ;;
  test) wanted+=("${test_packages[@]}" "${web_packages[@]}") ;;
  full) wanted+=("${test_packages[@]}" "${web_packages[@]}" "${full_packages[@]}") ;;
  *)
    echo "usage: $0 [--list] [run|test|full]" >&2
    exit 2
    ;;
esac
# Any Node will do.
if [[ "$list" != run ]] && { [[ $list_only == yes ]] || ! command -v node >/dev/null; }; then
  wanted+=(nodejs)
fi
if [[ $list_only == yes ]]; then
  printf '%s\n' "${wanted[@]}"
  exit
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

AsRoot() { "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive "$@" </dev/null; }

# The tests start database servers of their own. Debian's package would make and start one for good beside them.
no_cluster=${VNQ_CREATECLUSTER:-/etc/postgresql-common/createcluster.d}/vnq.conf
AllowCluster() { AsRoot rm -f "$no_cluster"; }
if [[ " ${missing[*]} " == *" postgresql "* ]]; then
  trap AllowCluster EXIT
  AsRoot mkdir -p "$(dirname "$no_cluster")"
  echo 'create_main_cluster = false' | "${as_root[@]}" tee "$no_cluster" >/dev/null
fi

# An installation that was broken off is finished first: until then apt refuses any other.
AsRoot dpkg --configure -a || AsRoot apt-get install -y -q --fix-broken

echo "Installing: ${missing[*]}"
AsRoot apt-get update -q
AsRoot apt-get install -y -q --no-install-recommends -o DPkg::Lock::Timeout=120 "${missing[@]}"
