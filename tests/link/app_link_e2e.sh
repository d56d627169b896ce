#!/usr/bin/env bash
# The link end to end with real processes: the app starts the companion that
# TESSAREL_COMPANION names (the simulated one, told to send "exit" a few
# seconds after it connects); the script hears of the connection and reads the
# keyboards; a foreign peer's (busctl's) notifications reach the script and
# get the empty answer; "Exit" and "exit " leave the app running, and the
# companion's "exit" ends it with status 0. Run under xvfb-run (ctest does):
#   app_link_e2e.sh <tessarel binary> <tessarel-companion binary> <link_bundle.js>
set -euo pipefail
app=$1 companion=$2 bundle=$3
work=$(mktemp -d)
socket=$work/runtime/tessarel/app-service
output=$work/output.txt
app_pid=
cleanup() {
  if [[ -n $app_pid ]] && kill "$app_pid" 2>/dev/null; then wait "$app_pid" || true; fi
  # After a failure the companion would wait for the app for ever.
  local pid
  pid=$(cat "$work/companion.pid" 2>/dev/null || true)
  if [[ -n $pid ]] && grep -qF -- "$socket" "/proc/$pid/cmdline" 2>/dev/null; then
    kill "$pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

mkdir -m 0700 "$work/runtime"
cat >"$work/companion.sh" <<SCRIPT
#!/bin/sh
echo \$\$ > "$work/companion.pid"
exec "$companion" --socket "$socket" --send-exit-after 6
SCRIPT
chmod +x "$work/companion.sh"
XDG_RUNTIME_DIR=$work/runtime TESSAREL_COMPANION=$work/companion.sh GDK_BACKEND=x11 \
  "$app" --bundle "$bundle" --console >"$output" 2>&1 &
app_pid=$!

fail() {
  echo "$1" >&2
  echo "--- the app's output:" >&2
  cat "$output" >&2
  exit 1
}
wait_for_line() {  # pattern, seconds
  local deadline=$((SECONDS + $2))
  until grep -q -- "$1" "$output"; do
    kill -0 "$app_pid" 2>/dev/null || fail "the app ended early"
    ((SECONDS < deadline)) || fail "no line matching '$1'"
    sleep 0.05
  done
}
notify() {  # busctl's arguments after the signature
  local reply
  reply=$(busctl --address="unix:path=$socket" call io.tessarel.App /io/tessarel/AppService \
    io.tessarel.AppService1 Message 'a{sv}' "$@")
  [[ $reply == "ua{sv} 0 0" ]] || fail "busctl got '$reply' for '$*'"
}

wait_for_line 'link-test: ready' 60
wait_for_line 'link-test: event keyboardsUpdated' 30
wait_for_line 'link-test: keyboards 2' 30
wait_for_line 'link-test: event keyboardVersionNewer Tessarel Deck 20' 30
notify 1 type s flashingStateUpdated
notify 2 type s keyboardVersionNewer name s "Pad from busctl"
notify 1 type s Exit
notify 1 type s "exit "
wait_for_line 'link-test: event flashingStateUpdated' 10
wait_for_line 'link-test: event keyboardVersionNewer Pad from busctl' 10
kill -0 "$app_pid" 2>/dev/null || fail "the app ended on a near-miss of \"exit\""

deadline=$((SECONDS + 30))
while kill -0 "$app_pid" 2>/dev/null; do
  ((SECONDS < deadline)) || fail "the app did not end on \"exit\""
  sleep 0.1
done
status=0
wait "$app_pid" || status=$?
app_pid=
((status == 0)) || fail "the app ended with status $status"
echo "ok"
