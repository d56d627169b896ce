#!/usr/bin/env bash
# Takes the screenshots of docs/screenshots/ from the real app window: the app with the
# simulated-keyboard companion on a virtual X display, driven with xdotool, captured with
# ImageMagick's import. The clicks are at fixed places of the 1200x800 window that the app opens.
#
#   ui/scripts/app-screenshots.sh [BUILD_DIR] [OUT_DIR]
#
# BUILD_DIR defaults to build/, OUT_DIR to docs/screenshots/. Needs xvfb, xdotool and imagemagick.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
out=${2:-$root/docs/screenshots}
mkdir -p "$out"
out=$(cd "$out" && pwd)
app=$build/bin/tessarel
bundle=$root/ui/dist/index.windows.bundle
for tool in Xvfb xdotool import; do
  command -v "$tool" >/dev/null || { echo "app-screenshots.sh: $tool is missing" >&2; exit 1; }
done
[[ -x $app ]] || { echo "app-screenshots.sh: no app at $app" >&2; exit 1; }
[[ -f $bundle ]] || { echo "app-screenshots.sh: build the UI first (scripts/build-ui.sh)" >&2; exit 1; }

# X cannot read back GL drawing on a virtual display: draw with cairo, without compositing.
export GSK_RENDERER=cairo WEBKIT_DISABLE_COMPOSITING_MODE=1
display=:$((90 + RANDOM % 100))
export DISPLAY=$display
Xvfb "$display" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
app_pid=
runtime=$(mktemp -d)
# Stops the app and the companion it started: the companion outlives the app (it waits to
# reconnect), so it is found by the runtime directory this script gave the app.
stop_app() {
  if [[ -n $app_pid ]]; then kill "$app_pid" 2>/dev/null || true; wait "$app_pid" 2>/dev/null || true; fi
  app_pid=
  local process
  for process in /proc/[0-9]*; do
    if grep -qz "^XDG_RUNTIME_DIR=$runtime/" "$process/environ" 2>/dev/null; then
      kill -KILL "${process#/proc/}" 2>/dev/null || true
    fi
  done
}
cleanup() {
  stop_app
  kill "$xvfb" 2>/dev/null || true
  rm -rf "$runtime"
}
trap cleanup EXIT
sleep 1

start_app() {  # extra environment assignments for the app
  mkdir -p "$runtime/run$#"
  chmod 700 "$runtime/run$#"
  env XDG_RUNTIME_DIR="$runtime/run$#" XDG_CONFIG_HOME="$runtime/config" "$@" \
    "$app" --bundle "$bundle" >"$runtime/app.log" 2>&1 &
  app_pid=$!
  sleep 6
}
shot() { import -window root -crop 1200x800+0+0 +repage "$out/$1"; echo "wrote $out/$1"; }
click() { xdotool mousemove "$1" "$2" click 1; sleep "${3:-0.6}"; }
scroll() {  # x y notches (positive: down)
  local button=5 count=$3
  if (( count < 0 )); then button=4; count=$((-count)); fi
  xdotool mousemove "$1" "$2"
  for ((i = 0; i < count; i++)); do xdotool click "$button"; done
  sleep 0.6
}

start_app
shot overview.png                 # first keyboard, newer-firmware notice
click 1150 96                     # dismiss the notice
click 150 183                     # Tessarel Deck 20
click 673 320                     # a key of the second row
scroll 745 600 8
click 907 406 0.3                 # a green swatch
click 863 447 1.2                 # Save as active colour: the key's light strip turns green
scroll 745 400 -8
click 144 678 0.3                 # the "Press a key" text field
xdotool type --delay 120 "hi 1"
xdotool key Return
sleep 0.8
shot keys.png
click 1113 96                     # Applications
shot applications.png
click 1001 96                     # Firmware
click 422 343 2.4                 # Write configuration, then part way through
shot firmware.png
stop_app

start_app TESSAREL_COMPANION=     # no companion: the UI waits for the keyboard service
shot waiting.png
