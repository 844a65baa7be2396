#!/usr/bin/env bash
# Makes the Debian packages of a build, and has lintian look at them where it is installed.
#
#   scripts/package.sh BUILD_FOLDER [FOLDER] [VERSION]
#
# The packages go to FOLDER, else to build/packages. VERSION is for a test of upgrades; else the project's.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=${1:?usage: scripts/package.sh BUILD_FOLDER [FOLDER] [VERSION]}
packages=$(realpath -m "${2:-build/packages}")
version=()
[[ -z "${3:-}" ]] || version=(-D "CPACK_PACKAGE_VERSION=$3")

# What of the gateway is built before the configuration becomes a package, too.
if command -v esbuild >/dev/null; then
  clients/build_gateway.sh
  cmake "$build" >/dev/null
fi
cmake --build "$build" --target vnq_main_service vnqctl vnq_bench
rm -rf "$packages"
umask 022
cpack --config "$build/CPackConfig.cmake" -G DEB -B "$packages" "${version[@]}"
rm -rf "$packages/_CPack_Packages"
if [[ -z "${3:-}" ]] && command -v lintian >/dev/null; then
  lintian --allow-root --fail-on error,warning "$packages"/*.deb
fi
ls "$packages"
