#!/usr/bin/env bash
# Runs a command on a display of its own, of the kind TESSAREL_TEST_DISPLAY
# names, so that a window test runs the same under X11 and Wayland:
#
#   TESSAREL_TEST_DISPLAY=x11 in_test_display.sh COMMAND...       (the default)
#   TESSAREL_TEST_DISPLAY=wayland in_test_display.sh COMMAND...
#
# x11: a new Xvfb server (xvfb-run -a, 1280x800); the command gets DISPLAY.
# wayland: a headless sway (wlroots' headless backend, no input devices, the
# pixman renderer, no Xwayland, one 1280x800 output); the command gets its
# XDG_RUNTIME_DIR and WAYLAND_DISPLAY, and no DISPLAY. Keys are typed there
# with tests/window/wayland/press_keys (the virtual keyboard protocol), whose
# path TESSAREL_PRESS_KEYS gives; one keyboard of its own stays on the seat
# for the whole run, as a real keyboard would.
# Both give GDK_BACKEND to match, and TESSAREL_TEST_DISPLAY to the command.
# sway refuses to run as root, so under root it runs as the user nobody in a
# runtime directory of its own, which root can still use.
set -euo pipefail
kind=${TESSAREL_TEST_DISPLAY:-x11}
export TESSAREL_TEST_DISPLAY=$kind
case $kind in
  x11)
    exec env -u WAYLAND_DISPLAY GDK_BACKEND=x11 xvfb-run -a -s "-screen 0 1280x800x24" "$@"
    ;;
  wayland)
    [[ -x ${TESSAREL_PRESS_KEYS:-} ]] || {
      echo "in_test_display: TESSAREL_PRESS_KEYS must name the press_keys program" >&2
      exit 2
    }
    ;;
  *)
    echo "in_test_display: TESSAREL_TEST_DISPLAY must be x11 or wayland, not '$kind'" >&2
    exit 2
    ;;
esac

runtime=$(mktemp -d "${TMPDIR:-/tmp}/tessarel-sway.XXXXXX")
mkdir -m 0700 "$runtime/run"
as_user=()
if [[ $(id -u) -eq 0 ]]; then
  chmod 0755 "$runtime"
  chown nobody:nogroup "$runtime/run"
  as_user=(setpriv --reuid=nobody --regid=nogroup --clear-groups)
fi
cat >"$runtime/config" <<'EOF'
xwayland disable
output HEADLESS-1 resolution 1280x800
EOF
chmod 0644 "$runtime/config"

sway_pid= keyboard_pid=
cleanup() {
  if [[ -n $keyboard_pid ]]; then
    kill "$keyboard_pid" 2>/dev/null || true
    wait "$keyboard_pid" 2>/dev/null || true
  fi
  if [[ -n $sway_pid ]]; then
    kill "$sway_pid" 2>/dev/null || true
    wait "$sway_pid" 2>/dev/null || true
  fi
  rm -rf "$runtime"
}
trap cleanup EXIT

env -i PATH="$PATH" HOME="$runtime/run" XDG_RUNTIME_DIR="$runtime/run" \
  WLR_BACKENDS=headless WLR_HEADLESS_OUTPUTS=1 WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman \
  "${as_user[@]}" sway --config "$runtime/config" >"$runtime/sway.log" 2>&1 &
sway_pid=$!

socket=
for _ in $(seq 200); do
  for candidate in "$runtime"/run/wayland-[0-9]; do
    [[ -S $candidate ]] && socket=$candidate
  done
  [[ -n $socket ]] && break
  kill -0 "$sway_pid" 2>/dev/null || break
  sleep 0.05
done
if [[ -z $socket ]]; then
  echo "in_test_display: sway did not start" >&2
  cat "$runtime/sway.log" >&2
  exit 1
fi

# A keyboard on the seat before any client starts.
XDG_RUNTIME_DIR="$runtime/run" WAYLAND_DISPLAY="${socket##*/}" \
  "$TESSAREL_PRESS_KEYS" --hold >"$runtime/keyboard.log" 2>&1 &
keyboard_pid=$!
for _ in $(seq 200); do
  grep -qx ready "$runtime/keyboard.log" && break
  kill -0 "$keyboard_pid" 2>/dev/null || break
  sleep 0.05
done
if ! grep -qx ready "$runtime/keyboard.log"; then
  echo "in_test_display: no keyboard on sway's seat" >&2
  cat "$runtime/keyboard.log" "$runtime/sway.log" >&2
  exit 1
fi

# As in a desktop session, the command shares the compositor's runtime
# directory and names the display relative to it: WebKit's sandbox lets the
# web process reach the display only as $XDG_RUNTIME_DIR/$WAYLAND_DISPLAY.
status=0
env -u DISPLAY XDG_RUNTIME_DIR="$runtime/run" WAYLAND_DISPLAY="${socket##*/}" GDK_BACKEND=wayland \
  "$@" || status=$?
exit "$status"
