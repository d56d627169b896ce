#!/usr/bin/env bash
# Builds the Debian package tessarel_<version>_amd64.deb in the top directory
# of the repository, from the normal build tree build/ (the one `make run` and
# `make test` use): it builds only what the package holds there, then packs it
# with CPack's DEB generator. docs/packaging.md describes the package.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=$root/build

scripts/install-deps.sh
scripts/build-ui.sh
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j "$(nproc)" --target tessarel_package_files

staging=$(mktemp -d "$build/deb.XXXXXX")
trap 'rm -rf "$staging"' EXIT
cpack --config "$build/CPackConfig.cmake" -B "$staging" >"$staging/cpack.log" 2>&1 || {
  cat "$staging/cpack.log" >&2
  exit 1
}
packages=("$staging"/tessarel_*_amd64.deb)
[[ -f ${packages[0]} ]] || { cat "$staging/cpack.log" >&2; exit 1; }
rm -f "$root"/tessarel_*_amd64.deb
mv "${packages[0]}" "$root/"
echo "Built $root/$(basename "${packages[0]}")"
