#!/usr/bin/env bash
# Installs the build into a fresh prefix and runs the installed app: the
# package must be complete, its desktop entry and metainfo valid with the
# entry pointing at the installed binary, and the installed app must draw its
# page and start the installed companion, which connects to it.
#   install_e2e.sh <build dir>
# Run it on a display of its own: in_test_display.sh (ctest does).
set -euo pipefail
build=$1

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL $*"; exit 1; }

prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >"$work/install.log"
desktop=$prefix/share/applications/io.tessarel.Host.desktop
for file in bin/tessarel libexec/tessarel/tessarel-companion share/tessarel/package.manifest \
            share/applications/io.tessarel.Host.desktop share/metainfo/io.tessarel.Host.metainfo.xml \
            share/icons/hicolor/scalable/apps/io.tessarel.Host.svg; do
  [[ -f $prefix/$file ]] || fail "missing $file"
done
arguments=()
if [[ -f $build/share/tessarel/Bundle/index.windows.bundle ]]; then
  [[ -f $prefix/share/tessarel/Bundle/index.windows.bundle ]] || fail "missing the UI bundle"
else
  arguments+=(--bundle "$(dirname "$0")/keys_bundle.js")
fi
desktop-file-validate "$desktop"
appstreamcli validate --no-net "$prefix/share/metainfo/io.tessarel.Host.metainfo.xml"
grep -qx "Exec=$prefix/bin/tessarel" "$desktop" || fail "the desktop entry's $(grep '^Exec=' "$desktop")"

"$(dirname "$0")/run_installed_app.sh" "$prefix" "$work" "${arguments[@]}"
echo "ok   installed and valid, with the desktop entry pointing at the installed binary"
