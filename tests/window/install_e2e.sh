#!/usr/bin/env bash
# Installs the build into a fresh prefix and runs the installed app: the
# package must be complete, its desktop entry and metainfo valid with the
# entry pointing at the installed binary, and the installed app must draw its
# page and start the installed companion, which connects to it.
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
    sleep 1
    kill -KILL -- "-$session" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL $*"; [[ -f $work/output.txt ]] && cat "$work/output.txt"; exit 1; }

prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >"$work/install.log"
companion=$prefix/libexec/tessarel/tessarel-companion
desktop=$prefix/share/applications/io.tessarel.Host.desktop
for file in bin/tessarel libexec/tessarel/tessarel-companion share/tessarel/package.manifest \
            share/applications/io.tessarel.Host.desktop share/metainfo/io.tessarel.Host.metainfo.xml \
            share/icons/hicolor/scalable/apps/io.tessarel.Host.svg; do
  [[ -f $prefix/$file ]] || fail "missing $file"
done
arguments=(--screenshot "$work/screenshot.png")
if [[ -f $build/share/tessarel/Bundle/index.windows.bundle ]]; then
  [[ -f $prefix/share/tessarel/Bundle/index.windows.bundle ]] || fail "missing the UI bundle"
else
  arguments+=(--bundle "$(dirname "$0")/keys_bundle.js")
fi
desktop-file-validate "$desktop"
appstreamcli validate --no-net "$prefix/share/metainfo/io.tessarel.Host.metainfo.xml"
grep -qx "Exec=$prefix/bin/tessarel" "$desktop" || fail "the desktop entry's $(grep '^Exec=' "$desktop")"

# The installed app, with its own runtime directory and the manifest's
# companion (TESSAREL_COMPANION unset).
mkdir -m 0700 "$work/runtime"
env -u TESSAREL_COMPANION XDG_RUNTIME_DIR="$work/runtime" GDK_BACKEND=x11 \
  setsid "$prefix/bin/tessarel" "${arguments[@]}" >"$work/output.txt" 2>&1 &
session=$!
companion_started=false
deadline=$((SECONDS + 90))
while ((SECONDS < deadline)) && kill -0 "$session" 2>/dev/null; do
  for pid in $(pgrep -g "$session" || true); do
    [[ $(readlink "/proc/$pid/exe" 2>/dev/null) == "$companion" ]] && companion_started=true
  done
  if [[ -s $work/screenshot.png ]] && $companion_started &&
     grep -q 'tessarel-companion: Connected' "$work/output.txt"; then
    break
  fi
  sleep 0.2
done

[[ $(head -c 8 "$work/screenshot.png" 2>/dev/null | od -An -tx1 | tr -d ' \n') == 89504e470d0a1a0a ]] ||
  fail "the installed app wrote no screenshot"
$companion_started || fail "no process of $companion was started"
grep -q 'tessarel-companion: Connected' "$work/output.txt" || fail "the companion did not connect"
echo "ok   installed, valid, drew its page and connected its own companion"
