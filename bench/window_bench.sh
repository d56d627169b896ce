#!/usr/bin/env bash
# Measures the window from outside, with the real companion of the build tree:
#   - start-up: from starting the process to the first frame that shows the
#     companion's keyboards in the page;
#   - key press: from a real key press (xdotool, which itself takes part of the
#     time) to the "keyDown" event arriving in the script, and from the page's
#     own DOM keydown to that event.
# Prints the figures; asserts nothing. Run by hand:
#   bench/window_bench.sh [build dir, default build] [runs, default 5]
# It runs on an X server of its own (xvfb-run) so that it never types into
# your desktop.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "${1:-$here/../build}" && pwd)
runs=${2:-5}
presses=50

if [[ -z ${WINDOW_BENCH_UNDER_XVFB:-} ]]; then
  WINDOW_BENCH_UNDER_XVFB=1 exec xvfb-run -a -s "-screen 0 1280x800x24" "$0" "$build" "$runs"
fi

app=$build/bin/tessarel
[[ -x $app ]] || { echo "no $app: build first" >&2; exit 1; }
work=$(mktemp -d)
app_pid=
# Each app runs in a process group of its own (setsid), which the companion it
# starts joins; stopping the group ends both.
stop_app() {
  if [[ -n $app_pid ]]; then
    kill -TERM -- "-$app_pid" 2>/dev/null || true
    for _ in 1 2 3 4 5 6 7 8 9 10; do
      kill -0 -- "-$app_pid" 2>/dev/null || break
      sleep 0.3
    done
    kill -KILL -- "-$app_pid" 2>/dev/null || true
    wait "$app_pid" 2>/dev/null || true
  fi
  app_pid=
}
trap 'stop_app; rm -rf "$work"' EXIT

now_ns() { date +%s%N; }

# Starts the app; leaves its output in $work/out.<run>.
start_app() {
  local run=$1
  rm -rf "$work/runtime.$run"; mkdir -m 0700 "$work/runtime.$run"
  XDG_RUNTIME_DIR=$work/runtime.$run GDK_BACKEND=x11 \
    setsid "$app" --bundle "$here/window_bundle.js" --console >"$work/out.$run" 2>&1 &
  app_pid=$!
}

wait_for() {  # file pattern count seconds
  local deadline=$((SECONDS + $4))
  while (( $(grep -c -- "$2" "$1" || true) < $3 )); do
    (( SECONDS < deadline )) || return 1
    kill -0 "$app_pid" 2>/dev/null || return 1
    sleep 0.002
  done
}

stats() {  # label, then values in ms
  local label=$1; shift
  printf '%s\n' "$@" | sort -g | awk -v label="$label" '
    { v[NR] = $1; sum += $1 }
    END { printf "%-44s n=%-3d min %8.1f  median %8.1f  mean %8.1f  max %8.1f ms\n",
                 label, NR, v[1], v[int((NR + 1) / 2)], sum / NR, v[NR] }'
}

# Each stage as milliseconds since the process was started, from the page's
# own clock (Date.now), so that buffering of the console copy adds nothing.
stages=(bundle-running run-application keyboards-updated keyboards-answered)
declare -A stage_ms
startup=()
for ((run = 1; run <= runs; run++)); do
  start_ms=$(($(now_ns) / 1000000))
  start_app "$run"
  if ! wait_for "$work/out.$run" 'window-bench: keyboards drawn' 1 60; then
    echo "run $run: no keyboards drawn; output:" >&2; cat "$work/out.$run" >&2; exit 1
  fi
  read -r _ _ keyboard_count key_count drawn_at < <(grep 'window-bench: keyboards drawn' \
    "$work/out.$run" | head -n 1 | sed 's/.*window-bench: //')
  startup+=("$((drawn_at - start_ms))")
  for name in "${stages[@]}"; do
    at=$(grep "window-bench: stage $name " "$work/out.$run" | head -n 1 | awk '{print $NF}')
    [[ -n $at ]] && stage_ms[$name]+="$((at - start_ms)) "
  done
  if ((run < runs)); then stop_app; fi
done
stats "start-up to first keyboards drawn" "${startup[@]}"
echo "  ($keyboard_count keyboards, $key_count keys; on the way, since process start:)"
for name in "${stages[@]}"; do
  # shellcheck disable=SC2086
  [[ -n ${stage_ms[$name]:-} ]] && stats "    $name" ${stage_ms[$name]}
done

# Key presses in the last run's window.
out=$work/out.$runs
window=$(xdotool search --sync --onlyvisible --pid "$app_pid" | head -n 1)
xdotool windowfocus --sync "$window"
xdotool mousemove --window "$window" 100 20 click 1  # into the bundle's field
sleep 0.5
press_to_script=()
dom_to_script=()
for ((i = 1; i <= presses; i++)); do
  start_ms=$(( $(now_ns) / 1000000 ))
  xdotool key a
  wait_for "$out" 'window-bench: keyDown' "$i" 10 || { echo "no keyDown for press $i" >&2; exit 1; }
  read -r _ code at since_dom < <(grep 'window-bench: keyDown' "$out" | sed -n "${i}p" |
                                    sed 's/.*window-bench: //')
  [[ $code == 4 ]] || { echo "press $i: keyDown $code, want 4" >&2; exit 1; }
  press_to_script+=("$((at - start_ms))")
  dom_to_script+=("$since_dom")
done
stats "xdotool key -> keyDown in script" "${press_to_script[@]}"
stats "DOM keydown -> keyDown in script" "${dom_to_script[@]}"
