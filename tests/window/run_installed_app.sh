#!/usr/bin/env bash
# Runs an installed app, as a user's desktop would start it, until it has
# drawn its page and its own companion has connected to it:
#   run_installed_app.sh <prefix> <work dir> [app arguments...]
# <prefix>/bin/tessarel runs with --screenshot <work dir>/screenshot.png, a
# runtime directory of its own and the companion its manifest names (under
# <prefix>/libexec/tessarel/); the script fails unless that companion ran and
# connected and the screenshot is a PNG of the window (1200x800 under X11).
# Run it on a display of its own (in_test_display.sh).
set -euo pipefail
prefix=$1 work=$2
shift 2
companion=$prefix/libexec/tessarel/tessarel-companion
screenshot=$work/screenshot.png
output=$work/output.txt

session=
cleanup() {
  if [[ -n $session ]]; then
    kill -TERM -- "-$session" 2>/dev/null || true
    sleep 1
    kill -KILL -- "-$session" 2>/dev/null || true
  fi
}
trap cleanup EXIT
fail() { echo "FAIL $*"; [[ -f $output ]] && cat "$output"; exit 1; }

runtime=$work/runtime
if [[ ${TESSAREL_TEST_DISPLAY:-x11} == wayland ]]; then runtime=$XDG_RUNTIME_DIR; else mkdir -m 0700 "$runtime"; fi
env -u TESSAREL_COMPANION XDG_RUNTIME_DIR="$runtime" \
  setsid "$prefix/bin/tessarel" --screenshot "$screenshot" "$@" >"$output" 2>&1 &
session=$!
companion_started=false
deadline=$((SECONDS + 90))
while ((SECONDS < deadline)) && kill -0 "$session" 2>/dev/null; do
  for pid in $(pgrep -g "$session" || true); do
    [[ $(readlink "/proc/$pid/exe" 2>/dev/null) == "$companion" ]] && companion_started=true
  done
  if [[ -s $screenshot ]] && $companion_started && grep -q 'tessarel-companion: Connected' "$output"; then
    break
  fi
  sleep 0.2
done

# A PNG: its signature, then the IHDR chunk with the width and height.
header=$(head -c 24 "$screenshot" 2>/dev/null | od -An -tx1 | tr -d ' \n')
[[ ${header:0:16} == 89504e470d0a1a0a ]] || fail "the installed app wrote no screenshot"
size="$((16#${header:32:8}))x$((16#${header:40:8}))"
if [[ ${TESSAREL_TEST_DISPLAY:-x11} == x11 && $size != 1200x800 ]]; then
  fail "the screenshot is $size, not the window's 1200x800"
fi
$companion_started || fail "no process of $companion was started"
grep -q 'tessarel-companion: Connected' "$output" || fail "the companion did not connect"
echo "ok   the installed app drew its page ($size) and connected its own companion"
