#!/usr/bin/env bash
# Takes the screenshots of docs/screenshots/ from the real app window: the app with the
# simulated-keyboard companion on a virtual X display, driven with xdotool, captured with
# ImageMagick's import. The app runs the reference UI with the end-to-end test's read-only probe
# (tests/ui/probe_entry.js), which says where each element is drawn, so the clicks find their
# targets whatever the layout.
#
#   ui/scripts/app-screenshots.sh [BUILD_DIR] [OUT_DIR]
#
# BUILD_DIR defaults to build/, OUT_DIR to docs/screenshots/. Needs xvfb, xdotool, x11-utils,
# python3, node (with ui/node_modules) and imagemagick.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
out=${2:-$root/docs/screenshots}
mkdir -p "$out"
out=$(cd "$out" && pwd)
app=$build/bin/tessarel
for tool in Xvfb xdotool xprop import node python3; do
  command -v "$tool" >/dev/null || { echo "app-screenshots.sh: $tool is missing" >&2; exit 1; }
done
[[ -x $app ]] || { echo "app-screenshots.sh: no app at $app" >&2; exit 1; }
[[ -d $root/ui/node_modules ]] || { echo "app-screenshots.sh: run scripts/build-ui.sh first" >&2; exit 1; }

# X cannot read back GL drawing on a virtual display: draw with cairo, without compositing.
export GSK_RENDERER=cairo WEBKIT_DISABLE_COMPOSITING_MODE=1 GDK_BACKEND=x11
display=:$((90 + RANDOM % 100))
export DISPLAY=$display
Xvfb "$display" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
app_pid=
work=$(mktemp -d)
output=$work/output.txt
# Stops the app and the companion it started: the companion outlives the app (it waits to
# reconnect), so it is found by the runtime directory this script gave the app.
stop_app() {
  if [[ -n $app_pid ]]; then kill "$app_pid" 2>/dev/null || true; wait "$app_pid" 2>/dev/null || true; fi
  app_pid=
  local process
  for process in /proc/[0-9]*; do
    if grep -qz "^XDG_RUNTIME_DIR=$work/" "$process/environ" 2>/dev/null; then
      kill -KILL "${process#/proc/}" 2>/dev/null || true
    fi
  done
}
cleanup() {
  stop_app
  kill "$xvfb" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
# shellcheck source=../../tests/ui/probe_lib.sh
source "$root/tests/ui/probe_lib.sh"
node "$root/ui/scripts/build.mjs" --entry "$root/tests/ui/probe_entry.js" "$work/probe.bundle"
sleep 1

start_app() {  # extra environment assignments for the app
  mkdir -p "$work/run$#" "$work/home"
  chmod 700 "$work/run$#"
  : >"$output"
  env HOME="$work/home" XDG_RUNTIME_DIR="$work/run$#" XDG_CONFIG_HOME="$work/home/config" \
    XDG_DATA_HOME="$work/home/data" XDG_STATE_HOME="$work/home/state" "$@" \
    "$app" --bundle "$work/probe.bundle" --console >"$output" 2>&1 &
  app_pid=$!
}
shot() { sleep "${2:-0.6}"; import -window root -crop 1200x800+0+0 +repage "$out/$1"; echo "wrote $out/$1"; }
scroll_main() {  # notches (positive: down)
  local button=5 count=$1
  if ((count < 0)); then button=4; count=$((-count)); fi
  xdotool mousemove 745 400
  for ((i = 0; i < count; i++)); do xdotool click "$button"; done
  sleep 0.6
}

start_app
wait_shown key-1-1 '' 60
wait_shown notice
shot overview.png 1.5                    # first keyboard, newer-firmware notice
focus_app
click_id notice-dismiss
click_id keyboard-TD20-91C7-0002
wait_shown keyboard-name 'Deck'
click_id key-1-1                         # Undo, on the deck
scroll_main 2
shot keys.png                            # the key editor: action, macros, icon, colours

click_id keyboard-TP12-4F2A-0001
wait_shown keyboard-name 'Pad'
click_id key-1-1
click_id record-keys
wait_shown recording
scroll_main 2
xdotool keydown ctrl keydown shift
wait_shown recording-keys 'Ctrl \+ Shift'
shot recording.png                       # "Recording… press the keys, Esc to cancel"
xdotool key k
xdotool keyup shift keyup ctrl
wait_shown action-summary 'Ctrl \+ Shift \+ K'
type_into active-color-hex '#ff8800'
click_id key-0-2                         # another key: the first one keeps its mark
click_id action-type-4
click_id usage-option-205
click_id section-tabs-apps
type_into app-path-2 'opt/tool'          # not absolute: marked, keeps the changes from being written
shot applications.png
type_into app-path-2 '/opt/tessarel/tool'
click_id section-tabs-keys
click_id key-1-1
scroll_main -20
shot staged.png                          # marked keys, "3 unsaved changes"
click_id write-keyboard
wait_shown write-progress
shot writing.png 1.6                     # writing in progress
wait_shown write-succeeded '' 30

click_id export-config
answer_file_dialog save "$work/pad.json"
for _ in $(seq 50); do [[ -s $work/pad.json ]] && break; sleep 0.1; done
python3 - "$work/pad.json" "$work/pad-edited.json" <<'PY'
import json, sys
document = json.load(open(sys.argv[1]))
document['layers'][1]['keys'][0][2]['activeColor'] = '#12345'
document['appPaths'][4] = 'obs'
json.dump(document, open(sys.argv[2], 'w'), indent=2)
PY
click_id import-config
answer_file_dialog open "$work/pad-edited.json"
wait_shown import-error
scroll_main -20
shot import-error.png                    # the problems of a malformed file, each with its place
click_id import-error-dismiss

click_id write-dismiss
click_id section-tabs-firmware
click_id select-file
click_id update-device
wait_shown update-progress
shot firmware.png 2.4                    # a firmware update part way through
wait_shown update-progress 'Update complete' 30
shot firmware-update-complete.png
stop_app

start_app TESSAREL_COMPANION=            # no companion: the UI waits for the keyboard service
wait_shown state-waiting '' 60
shot waiting.png
