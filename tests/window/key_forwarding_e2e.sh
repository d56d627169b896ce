#!/usr/bin/env bash
# Real key presses in a real window: starts the app on an X server of its own
# (Xvfb) with keys_bundle.js, presses keys with xdotool, and checks that each
# reaches the script as "keyDown" with its HID usage while the focused text
# field in the page still receives the characters.
#   key_forwarding_e2e.sh <tessarel binary> <keys_bundle.js>
# Run it under xvfb-run (ctest does); it refuses to type into a real desktop.
set -euo pipefail
app=$1
bundle=$2

if [[ -n ${WAYLAND_DISPLAY:-} || -z ${DISPLAY:-} ]]; then
  echo "needs an X display of its own: run under xvfb-run -a" >&2
  exit 2
fi

work=$(mktemp -d)
app_pid=
cleanup() {
  if [[ -n $app_pid ]] && kill -0 "$app_pid" 2>/dev/null; then
    kill "$app_pid" 2>/dev/null || true
    wait "$app_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

mkdir -m 0700 "$work/runtime"
output=$work/output.txt
# No companion: key forwarding needs none.
XDG_RUNTIME_DIR=$work/runtime TESSAREL_COMPANION= GDK_BACKEND=x11 \
  "$app" --bundle "$bundle" --console >"$output" 2>&1 &
app_pid=$!

# Waits until `pattern` has matched `count` lines of the output; fails after
# `seconds`.
wait_for_lines() {
  local pattern=$1 count=$2 seconds=$3 deadline
  deadline=$((SECONDS + seconds))
  while (( $(grep -c -- "$pattern" "$output" || true) < count )); do
    if ! kill -0 "$app_pid" 2>/dev/null; then
      echo "the app ended early:" >&2; cat "$output" >&2; return 1
    fi
    if (( SECONDS >= deadline )); then return 1; fi
    sleep 0.05
  done
}

if ! wait_for_lines 'keys-test: ready' 1 60; then
  echo "the test page did not come up:" >&2; cat "$output" >&2; exit 1
fi

# Give the window the X focus (there is no window manager to do it). Nothing
# is clicked: the page must have the keyboard focus from the start.
window=$(xdotool search --sync --onlyvisible --pid "$app_pid" | head -n 1)
xdotool windowfocus --sync "$window"

# The evdev keymap gives the F13 key (keycode 191) the keysym XF86Tools. Put
# F13 itself there, so that xdotool presses a real key rather than remapping a
# spare keycode for the moment of the press (which GTK may see too late).
if command -v xmodmap >/dev/null; then xmodmap -e "keycode 191 = F13"; fi

# Key name for xdotool, the usage the script must see.
keys=(a:4 1:30 0:39 Return:40 F1:58 F13:104 Scroll_Lock:0 KP_Subtract:45 minus:45)
got=()
pressed=0
for entry in "${keys[@]}"; do
  name=${entry%%:*}
  xdotool key --clearmodifiers "$name"
  pressed=$((pressed + 1))
  if ! wait_for_lines 'keys-test: keyDown' "$pressed" 10; then
    if [[ $name == F13 ]]; then
      # Only when the X server cannot produce F13 at all.
      echo "F13: no keyDown; the X server's keymap may lack F13, skipped" >&2
      pressed=$((pressed - 1))
      continue
    fi
    echo "no keyDown for $name; output so far:" >&2; cat "$output" >&2; exit 1
  fi
  got+=("$name:$(grep 'keys-test: keyDown' "$output" | sed -n "${pressed}p" | sed 's/.*keys-test: keyDown \([0-9-]*\).*/\1/')")
done

status=0
for i in "${!got[@]}"; do
  name=${got[$i]%%:*}
  code=${got[$i]#*:}
  want=
  for entry in "${keys[@]}"; do [[ ${entry%%:*} == "$name" ]] && want=${entry#*:}; done
  if [[ $code == "$want" ]]; then
    echo "ok   $name -> $code"
  else
    echo "FAIL $name -> $code, want $want"; status=1
  fi
done
if (( ${#got[@]} < ${#keys[@]} - 1 )); then echo "FAIL only ${#got[@]} keys reached the script"; status=1; fi

# No more keyDown than presses (a press must not be forwarded twice).
sleep 0.3
total=$(grep -c 'keys-test: keyDown' "$output" || true)
if (( total != pressed )); then echo "FAIL $total keyDown events for $pressed presses"; status=1; fi

# The field got the characters: a, 1, 0, then the two minus keys.
value=$(grep 'keys-test: value' "$output" | tail -n 1 | sed 's/^.*keys-test: value //')
if [[ $value == '"a10--"' ]]; then
  echo "ok   the focused field holds $value"
else
  echo "FAIL the focused field holds ${value:-nothing}, want \"a10--\""; status=1
fi
if (( status != 0 )); then echo "--- app output ---"; cat "$output"; fi
exit $status
