#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the app need. Quick
# when they are all there already: apt is only asked about missing ones.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config clang libclang-rt-14-dev clang-format
  libgtk-4-dev libwebkitgtk-6.0-dev libsystemd-dev libglib2.0-dev libglib2.0-bin
  nlohmann-json3-dev libsqlite3-dev
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  xvfb xauth xdotool x11-xserver-utils x11-utils python3 dex desktop-file-utils appstream systemd dbus
  sway libwayland-dev libxkbcommon-dev
  dpkg-dev lintian
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done

# Node.js may come from another packaging of it that brings its own npm.
if ! command -v npm >/dev/null || ! command -v node >/dev/null; then missing+=(nodejs npm); fi

if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  if [[ $(id -u) -ne 0 ]]; then sudo=sudo; else sudo=; fi
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
