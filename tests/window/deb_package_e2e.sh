#!/usr/bin/env bash
# Builds the Debian package from the build tree as `make deb` does (CPack's
# DEB generator), checks it with lintian and by its control fields and file
# list, unpacks it into a temporary root with dpkg-deb and runs the unpacked
# app there: it must draw its page and start the packaged companion.
#   deb_package_e2e.sh <build dir> <version>
# Run it on a display of its own: in_test_display.sh (ctest does). The build
# tree must hold the UI bundle (scripts/build-ui.sh).
set -euo pipefail
build=$1 version=$2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL $*"; exit 1; }

cpack --config "$build/CPackConfig.cmake" -B "$work/pkg" >"$work/cpack.log" 2>&1 ||
  fail "cpack: $(cat "$work/cpack.log")"
deb=$work/pkg/tessarel_${version}_amd64.deb
[[ -f $deb ]] || fail "no $(basename "$deb"): $(ls "$work/pkg")"

# No errors and no warnings (lintian's notes, which docs/packaging.md lists,
# are left to --display-info).
status=0
lintian --fail-on error,warning "$deb" >"$work/lintian.txt" 2>&1 || status=$?
grep -v '^running with root privileges' "$work/lintian.txt" || true
((status == 0)) || fail "lintian reports errors or warnings"
echo "ok   lintian: no errors, no warnings"

# Depends comes from the libraries the programs load (dpkg-shlibdeps).
depends=$(dpkg-deb -f "$deb" Depends)
names=$(tr ',' '\n' <<<"$depends" | awk '{print $1}')
for library in libc6 libglib2.0-0 libgtk-4-1 libwebkitgtk-6.0-4 libsystemd0 libstdc++6; do
  grep -qx -- "$library" <<<"$names" || fail "Depends lacks $library: $depends"
done
echo "ok   Depends: $depends"

# Exactly these files, under /usr.
files=$(dpkg-deb -c "$deb" | awk '$1 !~ /^d/ {print $6}' | sort | paste -sd ' ')
want=$(printf '%s\n' ./usr/bin/tessarel ./usr/libexec/tessarel/tessarel-companion \
  ./usr/share/applications/io.tessarel.Host.desktop \
  ./usr/share/dbus-1/interfaces/io.tessarel.AppService1.xml \
  ./usr/share/doc/tessarel/changelog.gz ./usr/share/doc/tessarel/copyright \
  ./usr/share/icons/hicolor/scalable/apps/io.tessarel.Host.svg \
  ./usr/share/man/man1/tessarel.1.gz ./usr/share/metainfo/io.tessarel.Host.metainfo.xml \
  ./usr/share/tessarel/Bundle/index.windows.bundle ./usr/share/tessarel/package.manifest \
  ./usr/share/tessarel/simulated-keyboards.json | sort | paste -sd ' ')
[[ $files == "$want" ]] || fail "the package holds: $files"
echo "ok   the package holds the programs, the bundle, the desktop files and the docs"

root=$work/root
dpkg-deb -x "$deb" "$root"
desktop=$root/usr/share/applications/io.tessarel.Host.desktop
desktop-file-validate "$desktop"
appstreamcli validate --no-net "$root/usr/share/metainfo/io.tessarel.Host.metainfo.xml" >/dev/null
grep -qx 'Exec=/usr/bin/tessarel' "$desktop" || fail "the desktop entry's $(grep '^Exec=' "$desktop")"
cmp -s "$root/usr/share/tessarel/Bundle/index.windows.bundle" \
  "$build/share/tessarel/Bundle/index.windows.bundle" || fail "the package's UI bundle is not the build's"

"$(dirname "$0")/run_installed_app.sh" "$root/usr" "$work"
if [[ -n ${TESSAREL_KEEP_SCREENSHOT:-} ]]; then cp "$work/screenshot.png" "$TESSAREL_KEEP_SCREENSHOT"; fi
