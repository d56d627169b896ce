#!/usr/bin/env bash
# Configuring a keyboard end to end, as a person would: the real app in a real window (Xvfb) with
# the simulated-keyboard companion, the reference UI (with the read-only probe of
# probe_entry.js, built here), real clicks and key presses (xdotool) through the real bridge.
#
#   configure_e2e.sh <tessarel> <tessarel-companion> <repository>
#
# 1. Record Ctrl+Shift+K on a key, undo and redo it, type an active colour, set application
#    path 3 (a bad path first), write; restart the app and the companion; keyboards() and the
#    drawn keyboard show [224, 225, 14], the colour and the path.
# 2. Discard drops every staged change; switching keyboards and closing the window with staged
#    changes ask first.
# 3. Export, change, import the export: nothing differs from the export. A malformed file stages
#    nothing and names the problem's place.
# 4. A firmware update started on one keyboard never shows on the other's page.
# Run under xvfb-run (ctest does). Exit status 77: the UI's npm packages are missing (skipped).
set -euo pipefail
app=$1 companion=$2 root=$3
here=$(cd "$(dirname "$0")" && pwd)
if [[ -n ${WAYLAND_DISPLAY:-} || -z ${DISPLAY:-} ]]; then
  echo "needs an X display of its own: run under xvfb-run -a" >&2
  exit 2
fi
[[ -d $root/ui/node_modules ]] || { echo "SKIP: no ui/node_modules (scripts/build-ui.sh installs them)"; exit 77; }

work=$(mktemp -d)
output=$work/output.txt
app_pid=
mkdir -m 0700 "$work/runtime"
mkdir -p "$work/home" "$work/state"
socket=$work/runtime/tessarel/app-service
stop_companion() {
  local pid
  pid=$(cat "$work/companion.pid" 2>/dev/null || true)
  if [[ -n $pid ]] && grep -qF -- "$socket" "/proc/$pid/cmdline" 2>/dev/null; then
    kill "$pid" 2>/dev/null || true
    while kill -0 "$pid" 2>/dev/null; do sleep 0.1; done
  fi
  rm -f "$work/companion.pid"
}
cleanup() {
  if [[ -n $app_pid ]] && kill "$app_pid" 2>/dev/null; then wait "$app_pid" 2>/dev/null || true; fi
  stop_companion
  # TESSAREL_KEEP_TEST_OUTPUT=DIR keeps the app's output of a failed run there.
  if [[ -n ${TESSAREL_KEEP_TEST_OUTPUT:-} && -f $output ]]; then cp "$output" "$TESSAREL_KEEP_TEST_OUTPUT/"; fi
  rm -rf "$work"
}
trap cleanup EXIT
# shellcheck source=probe_lib.sh
source "$here/probe_lib.sh"

node "$root/ui/scripts/build.mjs" --entry "$here/probe_entry.js" "$work/probe.bundle"
# The packaged keyboards with a slower firmware update, so that it is still running when the
# test has switched to the other keyboard, however busy the machine.
python3 - "$root/packaging/simulated-keyboards.json" "$work/simulated-keyboards.json" <<'PY'
import json, sys
devices = json.load(open(sys.argv[1]))
devices['settings']['flashSeconds'] = 15
json.dump(devices, open(sys.argv[2], 'w'))
PY
cat >"$work/companion.sh" <<SCRIPT
#!/bin/sh
echo \$\$ > "$work/companion.pid"
exec "$companion" --socket "$socket" --keyboards "$work/simulated-keyboards.json"
SCRIPT
chmod +x "$work/companion.sh"

# The app with its own runtime, state (where the companion keeps what was written), home and
# data directories (GTK's file dialog records recent files there).
start_app() {
  : >"$output"
  HOME=$work/home XDG_RUNTIME_DIR=$work/runtime XDG_STATE_HOME=$work/state \
    XDG_DATA_HOME=$work/home/data XDG_CONFIG_HOME=$work/home/config XDG_CACHE_HOME=$work/home/cache \
    TESSAREL_COMPANION=$work/companion.sh GDK_BACKEND=x11 \
    "$app" --bundle "$work/probe.bundle" --console >"$output" 2>&1 &
  app_pid=$!
  wait_shown key-1-1 '' 60
  wait_still keyboard-plate
  focus_app
}
wait_app_end() {
  local deadline=$((SECONDS + 15))
  while kill -0 "$app_pid" 2>/dev/null; do
    ((SECONDS < deadline)) || probe_fail "the app did not end"
    sleep 0.1
  done
  wait "$app_pid" || probe_fail "the app ended with status $?"
  app_pid=
}
# Checks the last keyboards() answer with a Python expression over `pad` (the first keyboard).
check_keyboards() {  # expression description
  local deadline=$((SECONDS + 20))
  until grep -q 'probe: keyboards \[' "$output"; do
    ((SECONDS < deadline)) || probe_fail "no keyboards() answer"
    sleep 0.1
  done
  { grep 'probe: keyboards \[' "$output" || true; } | tail -n 1 | sed 's/^.*probe: keyboards //' >"$work/keyboards.json"
  python3 - "$work/keyboards.json" "$1" <<'PY' || probe_fail "keyboards(): $2"
import json, sys
pad = json.load(open(sys.argv[1]))[0]
sys.exit(0 if eval(sys.argv[2]) else 1)
PY
  echo "ok   keyboards(): $2"
}
ok() { echo "ok   $*"; }

# --- 1. Record, colour, path, write, restart ---------------------------------------------------
start_app
click_until key-1-1 action-summary '^Ctrl \+ S$'
click_until record-keys recording 'Recording… press the keys, Esc to cancel'
xdotool key ctrl+shift+k
wait_shown action-summary '^Ctrl \+ Shift \+ K$'
wait_gone recording
wait_shown staged-count '^1 unsaved change$'
wait_shown key-edited-1-1
ok "recorded Ctrl+Shift+K by pressing it; the key is marked as changed"

xdotool key ctrl+z
wait_shown action-summary '^Ctrl \+ S$'
wait_gone staged-count
xdotool key ctrl+shift+z
wait_shown action-summary '^Ctrl \+ Shift \+ K$'
ok "Ctrl+Z restores the previous value, Ctrl+Shift+Z brings the change back"

click_id color-target-active
type_into active-color-hex '#ff88'
wait_shown active-color-hex-invalid
type_into active-color-hex '#ff8800'
wait_shown active-color-hex '^#ff8800$'
wait_gone active-color-hex-invalid
[[ $(probe_state key-light-1-1) == *'rgb(255,136,0)'* ]] || probe_fail "the drawn key's light is $(probe_state key-light-1-1)"
ok "typed #ff8800 stays #ff8800; the drawn key shows it at once"

click_until section-tabs-apps app-path-2
type_into app-path-2 'usr/bin/tool'
wait_shown app-path-2-invalid
wait_shown staging-problems 'application 3: must be empty or an absolute path'
type_into app-path-2 '/opt/tessarel/tool'
wait_gone app-path-2-invalid
wait_shown staged-count '^2 unsaved changes$'
ok "application path 3: a relative path is marked and blocks writing; an absolute one is staged"

click_id write-keyboard
wait_shown write-progress 'Writing to Tessarel Pad 12'
wait_shown write-succeeded 'Written to Tessarel Pad 12' 60
wait_gone staged-count
check_keyboards "pad['layers'][0]['keys'][1][1]['action'] == {'macros': [224, 225, 14], 'type': 1}" "the key holds [224, 225, 14]"
check_keyboards "pad['layers'][0]['keys'][1][1]['activeColor'] == {'r': 255, 'g': 136, 'b': 0}" "its active colour is #ff8800"
check_keyboards "pad['appPaths'][2] == '/opt/tessarel/tool'" "application path 3 is /opt/tessarel/tool"

close_app_window   # nothing staged: the page lets the window close
wait_app_end
stop_companion
[[ -s $work/state/tessarel/simulated-keyboards-state.json ]] || probe_fail "the companion kept no state"
start_app
check_keyboards "pad['layers'][0]['keys'][1][1]['action']['macros'] == [224, 225, 14] and pad['layers'][0]['keys'][1][1]['activeColor'] == {'r': 255, 'g': 136, 'b': 0} and pad['appPaths'][2] == '/opt/tessarel/tool'" "after restarting the app and the companion, all three are still there"
wait_shown key-1-1 'Ctrl \+ Shift \+ K'
[[ $(probe_state key-light-1-1) == *'rgb(255,136,0)'* ]] || probe_fail "after the restart the drawn key's light is $(probe_state key-light-1-1)"
ok "the drawn keyboard shows Ctrl + Shift + K in #ff8800"

# --- 2. Discard, switching and closing with staged changes --------------------------------------
click_until key-0-0 action-summary 'Ctrl \+ C'
click_until action-type-4 action-summary '^No media key yet$'
click_until section-tabs-apps app-path-0
type_into app-path-0 '/opt/other'
wait_shown staged-count '^2 unsaved changes$'
click_until keyboard-TD20-91C7-0002 switch-dialog 'Discard 2 unsaved changes\?'
click_id switch-keep
wait_gone switch-dialog
wait_shown keyboard-name '^Tessarel Pad 12$'
close_app_window
wait_shown close-dialog 'Close with 2 unsaved changes\?'
kill -0 "$app_pid" || probe_fail "the window closed with unsaved changes"
click_id close-keep
wait_gone close-dialog
ok "switching keyboards and closing the window with staged changes ask first"
click_id discard
wait_gone staged-count
wait_shown app-path-0 '^/usr/bin/gimp$'
click_until section-tabs-keys key-0-0 'Ctrl \+ C'
ok "discard drops every staged change"

# --- 3. Export, import, a malformed file ----------------------------------------------------------
click_id export-config
answer_file_dialog save "$work/exported.json"
for _ in $(seq 50); do [[ -s $work/exported.json ]] && break; sleep 0.1; done
[[ -s $work/exported.json ]] || probe_fail "nothing was saved"
click_until key-0-0 action-summary
click_until action-type-0 action-summary '^Does nothing$'
click_until section-tabs-apps app-path-5
type_into app-path-5 ''
wait_shown staged-count '^2 unsaved changes$'
click_id import-config
answer_file_dialog open "$work/exported.json"
wait_gone staged-count
click_id export-config
answer_file_dialog save "$work/again.json"
for _ in $(seq 50); do [[ -s $work/again.json ]] && break; sleep 0.1; done
cmp -s "$work/exported.json" "$work/again.json" || probe_fail "the import of the export differs from it"
ok "export, change, import: what is staged is exactly the export"

python3 - "$work/exported.json" "$work/malformed.json" <<'PY'
import json, sys
document = json.load(open(sys.argv[1]))
document['layers'][1]['keys'][0][2]['activeColor'] = '#12345'
json.dump(document, open(sys.argv[2], 'w'))
PY
type_into app-path-5 '/opt/staged'
wait_shown staged-count '^1 unsaved change$'
click_id import-config
answer_file_dialog open "$work/malformed.json"
wait_shown import-error 'Nothing imported from malformed.json'
wait_shown import-problem-0 '^layer 2, row 1, key 3: activeColor must be #rrggbb$'
wait_shown staged-count '^1 unsaved change$'
wait_shown app-path-5 '^/opt/staged$'
ok "a malformed file stages nothing and names the place of its problem"
click_id discard
wait_gone staged-count

# --- 4. Firmware progress belongs to its keyboard ----------------------------------------------------
click_until section-tabs-firmware select-file
click_until select-file firmware-file
click_until update-device update-progress 'Writing firmware'
click_until keyboard-TD20-91C7-0002 keyboard-name '^Tessarel Deck 20$'
from=$(wc -l <"$output")
wait_shown update-elsewhere
wait_gone update-elsewhere 60
if tail -n +"$from" "$output" | grep -q 'probe: at update-progress [0-9]'; then probe_fail "the Pad's update showed on the Deck's page"; fi
[[ -z $(probe_text firmware-file) ]] || probe_fail "the Pad's firmware file showed on the Deck's page"
click_until keyboard-TP12-4F2A-0001 update-progress 'Update complete'
wait_shown firmware-file
ok "a firmware update started on one keyboard never shows on the other's page"

close_app_window
wait_app_end
echo "ok   all"
