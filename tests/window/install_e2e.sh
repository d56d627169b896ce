#!/usr/bin/env bash
# Installs the build into a fresh prefix and runs the installed app: the
# package must be complete (binaries, manifest, bundle, desktop entry,
# metainfo, icon), its desktop entry valid and pointing at the installed
# binary, and the installed app must draw its page and start the installed
# companion, which connects to it.
#   install_e2e.sh <build dir>
# Run it under xvfb-run (ctest does).
set -euo pipefail
build=$1

if [[ -n ${WAYLAND_DISPLAY:-} || -z ${DISPLAY:-} ]]; then
  echo "needs an X display of its own: run under xvfb-run -a" >&2
  exit 2
fi

work=$(mktemp -d)
session=
cleanup() {
  if [[ -n $session ]]; then
    kill -TERM -- "-$session" 2>/dev/null || true
    for _ in 1 2 3 4 5 6 7 8 9 10; do
      kill -0 -- "-$session" 2>/dev/null || break
      sleep 0.3
    done
    kill -KILL -- "-$session" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >"$work/install.log"

status=0
expect_file() {  # path, what
  if [[ -f $prefix/$1 ]]; then echo "ok   $1"; else echo "FAIL missing $1 ($2)"; status=1; fi
}
expect_file bin/tessarel "the app"
expect_file libexec/tessarel/tessarel-companion "the companion"
expect_file share/tessarel/package.manifest "the package manifest"
expect_file share/applications/io.tessarel.Host.desktop "the desktop entry"
expect_file share/metainfo/io.tessarel.Host.metainfo.xml "the AppStream metainfo"
expect_file share/icons/hicolor/scalable/apps/io.tessarel.Host.svg "the icon"
bundle_installed=false
if [[ -f $build/share/tessarel/Bundle/index.windows.bundle ]]; then
  expect_file share/tessarel/Bundle/index.windows.bundle "the UI bundle"
  bundle_installed=true
fi
if ((status != 0)); then exit 1; fi

desktop=$prefix/share/applications/io.tessarel.Host.desktop
desktop-file-validate "$desktop"
if grep -qx "Exec=$prefix/bin/tessarel" "$desktop"; then
  echo "ok   the desktop entry starts $prefix/bin/tessarel"
else
  echo "FAIL the desktop entry's Exec: $(grep '^Exec=' "$desktop")"; status=1
fi

# The installed app, with its own runtime directory and the manifest's
# companion (TESSAREL_COMPANION unset).
mkdir -m 0700 "$work/runtime"
arguments=(--screenshot "$work/screenshot.png")
if ! $bundle_installed; then arguments+=(--bundle "$(dirname "$0")/keys_bundle.js"); fi
env -u TESSAREL_COMPANION XDG_RUNTIME_DIR="$work/runtime" GDK_BACKEND=x11 \
  setsid "$prefix/bin/tessarel" "${arguments[@]}" >"$work/output.txt" 2>&1 &
session=$!

companion_started=false
deadline=$((SECONDS + 90))
while ((SECONDS < deadline)); do
  if ! $companion_started; then
    for pid in $(pgrep -g "$session" || true); do
      if [[ $(readlink "/proc/$pid/exe" 2>/dev/null) == "$prefix/libexec/tessarel/tessarel-companion" ]]; then
        companion_started=true
      fi
    done
  fi
  if [[ -s $work/screenshot.png ]] && $companion_started &&
     grep -q 'tessarel-companion: Connected' "$work/output.txt"; then
    break
  fi
  if ! kill -0 "$session" 2>/dev/null; then break; fi
  sleep 0.2
done

if [[ $(head -c 8 "$work/screenshot.png" 2>/dev/null | od -An -tx1 | tr -d ' \n') == 89504e470d0a1a0a ]]; then
  echo "ok   the installed app drew its page ($(stat -c %s "$work/screenshot.png") byte PNG)"
else
  echo "FAIL the installed app wrote no screenshot"; status=1
fi
if $companion_started; then
  echo "ok   the installed app started the installed companion"
else
  echo "FAIL no process of $prefix/libexec/tessarel/tessarel-companion was started"; status=1
fi
if grep -q 'tessarel-companion: Connected' "$work/output.txt"; then
  echo "ok   the companion connected to the app"
else
  echo "FAIL the companion did not connect"; status=1
fi
if ((status != 0)); then echo "--- app output ---"; cat "$work/output.txt"; fi
exit $status
