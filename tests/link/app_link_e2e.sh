#!/usr/bin/env bash
# The link end to end with real processes: the app starts the companion that
# TESSAREL_COMPANION names (the simulated companion, told to send "exit" a few
# seconds after it connects); the companion connects back, the script hears of
# it and reads the keyboards; notifications from a foreign peer (busctl) reach
# the script, "Exit" and "exit " leave the app running, and the companion's
# "exit" ends it with status 0.
#   app_link_e2e.sh <tessarel binary> <tessarel-companion binary> <link_bundle.js>
# Run it under xvfb-run (ctest does).
set -euo pipefail
app=$1
companion=$2
bundle=$3

work=$(mktemp -d)
app_pid=
cleanup() {
  if [[ -n $app_pid ]] && kill -0 "$app_pid" 2>/dev/null; then
    kill "$app_pid" 2>/dev/null || true
    wait "$app_pid" 2>/dev/null || true
  fi
  # The companion normally ends after its "exit"; after a failure it would
  # wait for the app forever.
  local pid
  pid=$(cat "$work/companion.pid" 2>/dev/null || true)
  if [[ -n $pid ]] && grep -qF -- "$socket" "/proc/$pid/cmdline" 2>/dev/null; then
    kill "$pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

mkdir -m 0700 "$work/runtime"
socket=$work/runtime/tessarel/app-service
cat >"$work/companion.sh" <<SCRIPT
#!/bin/sh
echo \$\$ > "$work/companion.pid"
exec "$companion" --socket "$socket" --send-exit-after 6
SCRIPT
chmod +x "$work/companion.sh"

output=$work/output.txt
XDG_RUNTIME_DIR=$work/runtime TESSAREL_COMPANION=$work/companion.sh GDK_BACKEND=x11 \
  "$app" --bundle "$bundle" --console >"$output" 2>&1 &
app_pid=$!

fail() {
  echo "$1" >&2
  echo "--- the app's output:" >&2
  cat "$output" >&2
  exit 1
}

# Waits until `pattern` has matched `count` lines of the output.
wait_for_lines() {
  local pattern=$1 count=$2 seconds=$3 deadline
  deadline=$((SECONDS + seconds))
  while (( $(grep -c -- "$pattern" "$output" || true) < count )); do
    kill -0 "$app_pid" 2>/dev/null || fail "the app ended early"
    (( SECONDS < deadline )) || fail "no $count line(s) matching '$pattern'"
    sleep 0.05
  done
}

notify() {  # type, then optional name
  local reply
  if (( $# > 1 )); then
    reply=$(busctl --address="unix:path=$socket" call io.tessarel.App /io/tessarel/AppService \
      io.tessarel.AppService1 Message 'a{sv}' 2 type s "$1" name s "$2")
  else
    reply=$(busctl --address="unix:path=$socket" call io.tessarel.App /io/tessarel/AppService \
      io.tessarel.AppService1 Message 'a{sv}' 1 type s "$1")
  fi
  [[ $reply == "ua{sv} 0 0" ]] || fail "busctl got '$reply' for '$1'"
}

wait_for_lines 'link-test: ready' 1 60
# The companion connected: the module says so, and the script reads two keyboards.
wait_for_lines 'link-test: event keyboardsUpdated' 1 30
wait_for_lines 'link-test: keyboards 2' 1 30
wait_for_lines 'link-test: event keyboardVersionNewer Tessarel Deck 20' 1 30

notify flashingStateUpdated
notify keyboardVersionNewer "Pad from busctl"
notify Exit
notify "exit "
wait_for_lines 'link-test: event flashingStateUpdated' 1 10
wait_for_lines 'link-test: event keyboardVersionNewer Pad from busctl' 1 10
kill -0 "$app_pid" 2>/dev/null || fail "the app ended on a near-miss of \"exit\""

# The companion's own "exit" ends the app.
deadline=$((SECONDS + 30))
while kill -0 "$app_pid" 2>/dev/null; do
  (( SECONDS < deadline )) || fail "the app did not end on \"exit\""
  sleep 0.1
done
status=0
wait "$app_pid" || status=$?
app_pid=
(( status == 0 )) || fail "the app ended with status $status"
echo "ok"
