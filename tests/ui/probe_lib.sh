# Driving the app's real window through the UI's probe (probe_entry.js): find an element by its
# test id in the probe's lines, scroll the main area until it shows, click its middle with
# xdotool. Sourced by configure_e2e.sh and ui/scripts/app-screenshots.sh, which set $output (the
# app's standard output) and $app_pid. Text in the lines is JSON: plain ASCII in these tests.

probe_fail() { echo "FAIL $*" >&2; [[ -n ${output:-} ]] && { echo "--- app output (probe lines left out) ---" >&2; grep -v '^\[log\] probe: at ' "$output" | cut -c 1-300 | tail -n 60 >&2; }; exit 1; }

# The probe's last line about ID: "<left> <top> <width> <height> <"text"> <scroll|fixed> [bg]",
# "gone", "hidden", or nothing.
probe_state() {
  local line
  line=$(grep -F -- "probe: at $1 " "$output" | tail -n 1) || true
  [[ -n $line ]] && echo "${line#*probe: at "$1" }"
  return 0
}

# The element's text (or an input's value), unquoted.
probe_text() {
  local state
  state=$(probe_state "$1")
  [[ $state =~ ^-?[0-9]+\ -?[0-9]+\ [0-9]+\ [0-9]+\ \"(([^\"\\]|\\.)*)\" ]] && echo "${BASH_REMATCH[1]}"
  return 0
}

# Waits until ID is shown (and its text matches the extended regex PATTERN, if given).
wait_shown() {  # id [pattern] [seconds]
  local deadline=$((SECONDS + ${3:-20})) state
  while :; do
    state=$(probe_state "$1")
    if [[ $state =~ ^-?[0-9]+\ -?[0-9]+\ [0-9]+\ [0-9]+ ]] && { [[ -z ${2:-} ]] || [[ $(probe_text "$1") =~ $2 ]]; }; then return 0; fi
    kill -0 "$app_pid" 2>/dev/null || probe_fail "the app ended while waiting for $1"
    ((SECONDS < deadline)) || probe_fail "$1 not shown${2:+ with text matching '$2'} (last: ${state:-nothing}, text '$(probe_text "$1")')"
    sleep 0.1
  done
}

wait_gone() {  # id [seconds]
  local deadline=$((SECONDS + ${2:-20})) state
  while :; do
    state=$(probe_state "$1")
    [[ -z $state || $state == gone || $state == hidden ]] && return 0
    ((SECONDS < deadline)) || probe_fail "$1 still shown ($state)"
    sleep 0.1
  done
}

# Scrolls the main area until ID lies within it, then clicks its middle.
# Waits until the probe has said nothing new about ID for a moment: a page that just changed (a
# new layout, a width measured after the first frame) may still move it.
wait_still() {  # id
  local before after same=0 tries=0
  after=$(probe_state "$1")
  while ((same < 2 && tries < 60)); do
    before=$after
    sleep 0.2
    after=$(probe_state "$1")
    if [[ $after == "$before" ]]; then ((++same)); else same=0; fi
    ((++tries))
  done
  return 0
}

click_id() {  # id
  wait_shown "$1"
  wait_still "$1"
  local tries=0 x y w h where top bottom
  while :; do
    read -r x y w h < <(probe_state "$1" | awk '{print $1, $2, $3, $4}')
    where=$(probe_state "$1" | grep -oE ' (scroll|fixed)( |$)' | tr -d ' ')
    [[ $where == scroll ]] || break
    read -r top bottom < <(probe_state main-scroll | awk '{print $2, $2 + $4}')
    if ((y < top + 4)); then
      xdotool mousemove 745 $(((top + bottom) / 2)) click 4 click 4
    elif ((y + h > bottom - 4)); then
      xdotool mousemove 745 $(((top + bottom) / 2)) click 5 click 5
    else
      break
    fi
    ((++tries < 60)) || probe_fail "could not scroll $1 into view"
    sleep 0.2
    wait_still "$1"
  done
  xdotool mousemove $((x + w / 2)) $((y + h / 2)) click 1
  sleep 0.3
}

# Clicks ID until EXPECTED shows (its text matching PATTERN, if given): on a busy machine a click
# can land while the page is still settling. Only for clicks that do no harm when repeated.
click_until() {  # id expected [pattern]
  local attempt deadline state
  for attempt in 1 2 3; do
    click_id "$1"
    deadline=$((SECONDS + 8))
    while ((SECONDS < deadline)); do
      state=$(probe_state "$2")
      if [[ $state =~ ^-?[0-9]+\ -?[0-9]+\ [0-9]+\ [0-9]+ ]] && { [[ -z ${3:-} ]] || [[ $(probe_text "$2") =~ $3 ]]; }; then return 0; fi
      sleep 0.1
    done
    echo "note: clicking $1 showed no $2 (attempt $attempt)" >&2
  done
  probe_fail "clicking $1 never showed $2${3:+ with text matching '$3'}"
}

# Clicks the text field ID, selects what it holds and types TEXT.
type_into() {  # id text
  click_id "$1"
  xdotool key --clearmodifiers ctrl+a BackSpace
  [[ -z $2 ]] || xdotool type --delay 60 -- "$2"
  # The keys are sent; the page may take a while to have them all.
  local deadline=$((SECONDS + 20))
  until [[ $(probe_text "$1") == "$2" ]]; do
    ((SECONDS < deadline)) || probe_fail "$1 holds '$(probe_text "$1")', not '$2'"
    sleep 0.1
  done
}

# The app's toplevel X window (the one with the title "Tessarel").
app_window() {
  local window
  for window in $(xdotool search --pid "$app_pid" 2>/dev/null); do
    if xprop -id "$window" WM_NAME 2>/dev/null | grep -q '"Tessarel"'; then echo "$window"; return 0; fi
  done
  return 1
}

# Gives the window the X focus: there is no window manager to do it.
focus_app() { xdotool windowfocus --sync "$(app_window)" 2>/dev/null || xdotool windowfocus "$(app_window)"; sleep 0.2; }

# Asks the window to close as a window manager's close button does (WM_DELETE_WINDOW).
close_app_window() {
  python3 - "$(app_window)" <<'PY'
import ctypes, sys
x = ctypes.cdll.LoadLibrary('libX11.so.6')
x.XOpenDisplay.restype = ctypes.c_void_p
x.XOpenDisplay.argtypes = [ctypes.c_char_p]
x.XInternAtom.restype = ctypes.c_ulong
x.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
class ClientMessage(ctypes.Structure):
    _fields_ = [('type', ctypes.c_int), ('serial', ctypes.c_ulong), ('send_event', ctypes.c_int),
                ('display', ctypes.c_void_p), ('window', ctypes.c_ulong), ('message_type', ctypes.c_ulong),
                ('format', ctypes.c_int), ('data', ctypes.c_long * 5)]
class Event(ctypes.Union):
    _fields_ = [('xclient', ClientMessage), ('pad', ctypes.c_long * 24)]
display = x.XOpenDisplay(None)
window = int(sys.argv[1])
event = Event()
event.xclient.type = 33  # ClientMessage
event.xclient.window = window
event.xclient.message_type = x.XInternAtom(display, b'WM_PROTOCOLS', 0)
event.xclient.format = 32
event.xclient.data[0] = x.XInternAtom(display, b'WM_DELETE_WINDOW', 0)
x.XSendEvent.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_long, ctypes.POINTER(Event)]
x.XSendEvent(display, window, 0, 0, ctypes.byref(event))
x.XFlush.argtypes = [ctypes.c_void_p]
x.XFlush(display)
PY
}

# The app's visible toplevel windows other than its main window (a file dialog).
dialog_window() {
  local window
  for window in $(xdotool search --pid "$app_pid" --onlyvisible 2>/dev/null); do
    if xprop -id "$window" WM_NAME 2>/dev/null | grep -q '= "' && ! xprop -id "$window" WM_NAME | grep -qi '"tessarel"'; then
      echo "$window"
      return 0
    fi
  done
  return 1
}

# In GTK's file dialog: waits for it, types PATH (an absolute path is taken whole: in the save
# dialog as the name, in the open dialog "/" opens the location field) and presses Enter.
answer_file_dialog() {  # save|open path
  local dialog deadline=$((SECONDS + 30))
  until dialog=$(dialog_window); do
    ((SECONDS < deadline)) || probe_fail "no file dialog came up"
    sleep 0.2
  done
  sleep 1  # the dialog lays out and takes the keyboard
  xdotool windowfocus "$dialog" 2>/dev/null || true
  sleep 0.3
  [[ $1 == save ]] && xdotool key --clearmodifiers ctrl+a
  xdotool type --delay 40 -- "$2"
  sleep 0.5
  xdotool key Return
  deadline=$((SECONDS + 30))
  while dialog_window >/dev/null; do
    ((SECONDS < deadline)) || probe_fail "the file dialog stayed open"
    sleep 0.2
  done
}
