#!/usr/bin/env bash
# Installs the Debian package on a machine that has never seen the build
# tree, as a user would, and checks what the user gets: `tessarel` on PATH,
# an entry in the desktop's list of applications, and a window that draws its
# page and connects the packaged companion. Run as root in a fresh Debian 12
# root (scripts/fresh-machine-check.sh --deb does):
#   check_installed.sh <package.deb> <run_installed_app.sh>
# Leaves the window's screenshot in /root/tessarel-installed.png.
set -euo pipefail
deb=$1 run_installed_app=$2
export DEBIAN_FRONTEND=noninteractive

apt-get update -qq
apt-get install -y -qq "$deb" >/tmp/apt.log 2>&1 || { cat /tmp/apt.log; exit 1; }
echo "installed: $(dpkg-query -W -f='${Package} ${Version} ${Status}' tessarel)"
[[ $(command -v tessarel) == /usr/bin/tessarel ]] || { echo "FAIL tessarel is not on PATH"; exit 1; }
tessarel --help

# Not the package's business, only this check's: a display, and GIO from
# Python to read the application list as desktops do.
apt-get install -y -qq --no-install-recommends xvfb xauth python3-gi gir1.2-glib-2.0 >/tmp/apt.log 2>&1 ||
  { cat /tmp/apt.log; exit 1; }
python3 - <<'PYTHON'
from gi.repository import Gio
app = next((a for a in Gio.AppInfo.get_all() if a.get_id() == "io.tessarel.Host.desktop"), None)
assert app is not None, "io.tessarel.Host.desktop is not in the application list"
assert app.should_show(), "the application list hides io.tessarel.Host.desktop"
print(f"ok   in the application list: {app.get_name()} ({app.get_commandline()}, "
      f"icon {app.get_icon().to_string()})")
PYTHON

work=$(mktemp -d)
xvfb-run -a -s "-screen 0 1280x800x24" "$run_installed_app" /usr "$work"
cp "$work/screenshot.png" /root/tessarel-installed.png
