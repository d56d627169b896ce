#!/usr/bin/env bash
# Builds everything and starts the app with the simulated-keyboard companion.
#
# With a display ($DISPLAY or $WAYLAND_DISPLAY set) the window opens and the
# script ends when you close it; the companion stays, as the keyboard service
# does, and the next start of the app finds it.
#
# Without a display the app runs on a virtual X display (xvfb-run) just long
# enough to draw its page and write a screenshot, whose path is printed;
# nobody could use the window there, so the app and its companion are then
# stopped. The screenshot goes to $TESSAREL_SCREENSHOT when set, else to
# <build>/tessarel-screenshot.png.
#
# TESSAREL_BUILD_DIR chooses the build directory (default: build).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=${TESSAREL_BUILD_DIR:-build}
case $build in /*) ;; *) build=$root/$build ;; esac

scripts/install-deps.sh
if [[ -f ui/package.json ]]; then scripts/build-ui.sh; fi
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j "$(nproc)"

app=$build/bin/tessarel
if [[ ! -x $app ]]; then
  echo "run.sh: $app was not built" >&2
  exit 1
fi

# The app listens under $XDG_RUNTIME_DIR; a login without a session manager
# (a container, su) may have none, so give it a private one.
private_runtime=
if [[ -z ${XDG_RUNTIME_DIR:-} ]]; then
  private_runtime=$(mktemp -d "${TMPDIR:-/tmp}/tessarel-runtime.XXXXXX")
  export XDG_RUNTIME_DIR=$private_runtime
fi

# The app starts the companion that its package manifest names: in the build
# tree, the simulated-keyboard companion in <build>/libexec/tessarel/.
if [[ -n ${DISPLAY:-} || -n ${WAYLAND_DISPLAY:-} ]]; then
  exec "$app"
fi

screenshot=${TESSAREL_SCREENSHOT:-$build/tessarel-screenshot.png}
case $screenshot in /*) ;; *) screenshot=$root/$screenshot ;; esac
log=$build/tessarel-run.log
rm -f "$screenshot"
echo "No display: running the app on a virtual X display to take a screenshot."
# A session of its own: the virtual display, the app and the companion it
# starts share its process group and are stopped together.
setsid xvfb-run -a -s "-screen 0 1280x800x24" "$app" --screenshot "$screenshot" >"$log" 2>&1 &
session=$!
stop() {
  kill -TERM -- "-$session" 2>/dev/null || true
  # Whatever has not ended after a few seconds is ended for good.
  for _ in 1 2 3 4 5 6 7 8 9 10; do
    kill -0 -- "-$session" 2>/dev/null || break
    sleep 0.3
  done
  kill -KILL -- "-$session" 2>/dev/null || true
  wait "$session" 2>/dev/null || true
  if [[ -n $private_runtime ]]; then rm -rf "$private_runtime"; fi
}
trap stop EXIT

# The app writes the file once the page has drawn; it is complete when its
# size stops changing.
complete() {
  [[ -s $screenshot ]] || return 1
  local before
  before=$(stat -c %s "$screenshot")
  sleep 0.3
  [[ $(stat -c %s "$screenshot") == "$before" ]]
}
deadline=$((SECONDS + 120))
until complete; do
  if ! kill -0 "$session" 2>/dev/null; then
    echo "run.sh: the app ended before it drew its window; its output ($log):" >&2
    cat "$log" >&2
    exit 1
  fi
  if ((SECONDS >= deadline)); then
    echo "run.sh: no screenshot after 120 s; the app's output is in $log" >&2
    exit 1
  fi
  sleep 0.2
done
echo "Screenshot of the window: $screenshot"
echo "The app's output: $log"
