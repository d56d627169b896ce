#!/usr/bin/env bash
# Real key presses in a real window: starts the app with keys_bundle.js, types
# keys with no delay between them, as fast as a key presser can, and checks
# that each press reaches the script exactly once, in order, as "keyDown" with
# its HID usage, whichever element of the page has the focus (the text field,
# a button, nothing) and whether or not the page uses the key, while the
# focused field still gets its characters. Then a few keys 120 ms apart.
#   key_forwarding_e2e.sh <tessarel binary> <keys_bundle.js>
# Run it under in_test_display.sh (ctest does): TESSAREL_TEST_DISPLAY=x11
# types with xdotool, =wayland with $TESSAREL_PRESS_KEYS
# (tests/window/wayland/press_keys), and both must give the same usages. It
# refuses to type into a real desktop.
set -euo pipefail
app=$1 bundle=$2 press_keys=${TESSAREL_PRESS_KEYS:-}
display=${TESSAREL_TEST_DISPLAY:-x11}
case $display in
  x11) [[ -n ${DISPLAY:-} && -z ${WAYLAND_DISPLAY:-} ]] ;;
  wayland) [[ -n ${WAYLAND_DISPLAY:-} && -z ${DISPLAY:-} && -x $press_keys ]] ;;
  *) false ;;
esac || {
  echo "needs a display of its own: run under tests/window/in_test_display.sh" >&2
  exit 2
}

work=$(mktemp -d)
output=$work/output.txt
# A runtime directory of its own, except under Wayland, where the app must
# share the compositor's (in_test_display.sh gives it) to reach the display.
runtime=$work/runtime
if [[ $display == wayland ]]; then runtime=$XDG_RUNTIME_DIR; else mkdir -m 0700 "$runtime"; fi
# No companion: key forwarding needs none.
XDG_RUNTIME_DIR=$runtime TESSAREL_COMPANION='' \
  "$app" --bundle "$bundle" --console --screenshot "$work/window.png" >"$output" 2>&1 &
app_pid=$!
trap 'kill "$app_pid" 2>/dev/null || true; wait "$app_pid" 2>/dev/null || true; rm -rf "$work"' EXIT

# Waits until `pattern` has matched `count` lines of the output; fails after
# `seconds` or when the app has ended.
wait_for_lines() {
  local deadline=$((SECONDS + $3))
  while (( $(grep -c -- "$1" "$output" || true) < $2 )); do
    if ! kill -0 "$app_pid" 2>/dev/null || (( SECONDS >= deadline )); then return 1; fi
    sleep 0.05
  done
}
fail() { echo "FAIL $*"; echo "--- app output ---"; cat "$output"; exit 1; }
lines() { grep "keys-test: $1" "$output" | sed "s/^.*keys-test: $1 //" | paste -sd ' ' || true; }

# Types keys by their keysym names; `--delay MS` first to wait between them.
type_keys() {
  local delay=0
  if [[ $1 == --delay ]]; then delay=$2; shift 2; fi
  if [[ $display == x11 ]]; then
    xdotool key --clearmodifiers --delay "$delay" "$@"
  else
    # The evdev keymap has XF86Tools on the F13 key; the key is named instead.
    "$press_keys" --delay "$delay" "${@/#F13/<FK13>}"
  fi
}

wait_for_lines 'keys-test: ready focused=true' 1 60 || fail "the test page did not come up"
if [[ $display == x11 ]]; then
  # Give the window the X focus (there is no window manager to do it). Nothing
  # is clicked: the page must have the keyboard focus from the start. (sway
  # focuses a new window itself.)
  xdotool windowfocus --sync "$(xdotool search --sync --onlyvisible --pid "$app_pid" | head -n 1)"
  # The evdev keymap gives the F13 key (keycode 191) the keysym XF86Tools. Put
  # F13 itself there, so that xdotool presses a real key rather than remapping
  # a spare keycode for the moment of the press (which GTK may see too late).
  xmodmap -e "keycode 191 = F13"
fi

# Keys the field uses (characters), keys nobody uses (F1, F13, Scroll Lock),
# and Escape, which the page uses to move the focus: field, button, body.
keys=(a 1 0 Return F1 F13 Scroll_Lock KP_Subtract minus)
usages=(4 30 39 40 58 104 0 45 45)
burst=("${keys[@]}" Escape "${keys[@]}" Escape "${keys[@]}")
want="${usages[*]} 41 ${usages[*]} 41 ${usages[*]}"
type_keys "${burst[@]}"
wait_for_lines 'keys-test: keyDown' ${#burst[@]} 20 ||
  fail "$(grep -c 'keys-test: keyDown' "$output") keyDown events for ${#burst[@]} presses"

# The page saw every key once, each at the element meant to have the focus.
# (Key names are not compared: the F13 key's differs between X11 and Wayland.)
dom_want=
for element in field button body; do
  for _ in "${keys[@]}"; do dom_want+=" $element"; done
  [[ $element == body ]] || dom_want+=" $element"
done
wait_for_lines 'keys-test: dom' ${#burst[@]} 20 || fail "the page did not see every key"
dom_got=$(lines dom | tr ' ' '\n' | awk 'NR % 2 == 0' | paste -sd ' ')
[[ $dom_got == "${dom_want# }" ]] || fail "the page saw: $(lines dom)"
echo "ok   the page saw each of ${#burst[@]} keys once, at the field, the button and the body"

# And slowly, keys nobody uses and one the body does not either.
type_keys --delay 120 F1 a F13
want+=" 58 4 104"
wait_for_lines 'keys-test: keyDown' $((${#burst[@]} + 3)) 20 || fail "no keyDown for the slow keys"
# A second pass of an unused key arrives well within this if it is forwarded.
sleep 0.5
[[ $(lines keyDown) == "$want" ]] || fail "the script got: $(lines keyDown); want: $want"
echo "ok   $display: each press reached the script once: $want"

# The field got the characters typed while it had the focus: a, 1, 0, minus twice.
value=$(grep 'keys-test: value' "$output" | tail -n 1 | sed 's/^.*keys-test: value //')
[[ $value == '"a10--"' ]] || fail "the focused field holds ${value:-nothing}, want \"a10--\""
echo "ok   the focused field holds $value"

# The window drew the page.
[[ $(head -c 8 "$work/window.png" 2>/dev/null | od -An -tx1 | tr -d ' \n') == 89504e470d0a1a0a ]] ||
  fail "no screenshot of the window"
if [[ -n ${TESSAREL_KEEP_SCREENSHOT:-} ]]; then cp "$work/window.png" "$TESSAREL_KEEP_SCREENSHOT"; fi
echo "ok   the window drew the page"
