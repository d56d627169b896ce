#!/usr/bin/env bash
# Runs the README's test command the way a new machine sees it: in a fresh
# Debian 12 root made with debootstrap, on a fresh clone of the committed HEAD,
# with nothing installed but what a new development machine of ours starts
# with. Whatever the suite needs beyond that must come from the README's
# commands themselves (scripts/install-deps.sh, npm ci), so a package that
# only this machine happens to have shows up as a failure here.
#
#   sudo scripts/fresh-machine-check.sh               make test
#   sudo scripts/fresh-machine-check.sh make run      any other command
#   sudo scripts/fresh-machine-check.sh --deb tessarel_0.1.0.0_amd64.deb
#
# --deb checks the Debian package (`make deb`) instead: no clone, no build
# tree, only the package, installed with apt-get and checked by
# packaging/deb/check_installed.sh.
#
# The first run makes a base root with debootstrap (a few minutes, about
# 1 GB under $TESSAREL_FRESH_DIR, default /var/tmp/tessarel-fresh) and keeps
# it; every run then works in a new copy of it, which is removed afterwards
# unless TESSAREL_FRESH_KEEP=1. The machine's Node.js is copied into the base
# when it has one (new machines come with Node.js 20 and npm 11); without it
# the README's commands install Debian's.
#
# Needs root (debootstrap, chroot, mounts) and Debian's mirror and the npm
# registry; runs on a Debian or Ubuntu host.
set -euo pipefail

if [[ $(id -u) -ne 0 ]]; then
  echo "fresh-machine-check: needs root (debootstrap, chroot and mounts)" >&2
  exit 1
fi

repo=$(cd "$(dirname "$0")/.." && pwd)
package=
if [[ ${1:-} == --deb ]]; then
  package=$(realpath "$2")
  shift 2
fi
command=("$@")
((${#command[@]})) || command=(make test)
work=${TESSAREL_FRESH_DIR:-/var/tmp/tessarel-fresh}
base=$work/base
mirror=${TESSAREL_FRESH_MIRROR:-http://deb.debian.org/debian}

# What a new machine of the project's kind has before anyone runs anything:
# the C++ tool chain and test libraries, git, and the usual basics.
base_packages=(
  ca-certificates git make g++ cmake
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  clang-format clang-tidy cppcheck gdb valgrind python3 curl sudo procps
)

make_base() {
  command -v debootstrap >/dev/null ||
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq debootstrap >/dev/null
  rm -rf "$base.partial"
  echo "fresh-machine-check: making a Debian 12 root in $base (once)"
  debootstrap --variant=minbase bookworm "$base.partial" "$mirror" >"$work/debootstrap.log" 2>&1 || {
    echo "fresh-machine-check: debootstrap failed; see $work/debootstrap.log" >&2
    exit 1
  }
  cat >"$base.partial/etc/apt/sources.list" <<EOF
deb $mirror bookworm main
deb $mirror bookworm-updates main
deb http://deb.debian.org/debian-security bookworm-security main
EOF
  cp /etc/resolv.conf "$base.partial/etc/resolv.conf"
  with_mounts "$base.partial" /bin/sh -c "apt-get update -qq &&
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends ${base_packages[*]} >/dev/null"
  if command -v node >/dev/null && [[ -d /usr/lib/node_modules/npm ]]; then
    cp -a "$(readlink -f "$(command -v node)")" "$base.partial/usr/bin/node"
    mkdir -p "$base.partial/usr/lib/node_modules"
    cp -a /usr/lib/node_modules/npm "$base.partial/usr/lib/node_modules/"
    ln -sf ../lib/node_modules/npm/bin/npm-cli.js "$base.partial/usr/bin/npm"
    ln -sf ../lib/node_modules/npm/bin/npx-cli.js "$base.partial/usr/bin/npx"
  fi
  with_mounts "$base.partial" apt-get clean
  mv "$base.partial" "$base"
}

# Runs a command in a root with the kernel file systems mounted, and takes
# them down again whatever happens. The root is bind-mounted onto itself so
# that it is a mount point: WebKit's sandbox (bubblewrap) pivots into a new
# root and refuses to when the current one is not a mount point.
with_mounts() {
  local root=$1
  shift
  mount --bind "$root" "$root"
  mount -t proc proc "$root/proc"
  mount --rbind /sys "$root/sys"
  mount --rbind /dev "$root/dev"
  mount -t tmpfs tmpfs "$root/tmp"
  mount -t tmpfs tmpfs "$root/run"
  local status=0
  env -i HOME=/root TERM="${TERM:-dumb}" LANG=C.UTF-8 "${network_environment[@]}" \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    chroot "$root" "$@" || status=$?
  umount -R "$root/run" "$root/tmp" "$root/dev" "$root/sys" "$root/proc" 2>/dev/null || true
  umount -l "$root" 2>/dev/null || true
  return "$status"
}

# Certificate and proxy settings of this machine's environment go in too.
network_environment=()
while IFS= read -r setting; do network_environment+=("$setting"); done < <(
  env | grep -E '^([A-Za-z_]*_CA_[A-Za-z_]*|SSL_CERT_[A-Z]+|NODE_EXTRA_CA_CERTS|[a-z_]*_proxy|[A-Z_]*_PROXY)=' || true)

mkdir -p "$work"
[[ -d $base ]] || make_base

run_root=$work/run-$(date +%Y%m%d-%H%M%S)
cleanup() {
  umount -R "$run_root/run" "$run_root/tmp" "$run_root/dev" "$run_root/sys" "$run_root/proc" 2>/dev/null || true
  umount -l "$run_root" 2>/dev/null || true
  if [[ -z ${TESSAREL_FRESH_KEEP:-} ]]; then rm -rf --one-file-system "$run_root"; fi
}
trap cleanup EXIT
cp -a "$base" "$run_root"
# The network as this workplace gives it to every machine: name servers, the
# certificate authorities of its egress, and npm's settings for them.
cp /etc/resolv.conf "$run_root/etc/resolv.conf"
if compgen -G '/usr/local/share/ca-certificates/*.crt' >/dev/null; then
  cp /usr/local/share/ca-certificates/*.crt "$run_root/usr/local/share/ca-certificates/"
fi
for npmrc in /etc/npmrc /usr/etc/npmrc; do
  if [[ -f $npmrc ]]; then mkdir -p "$run_root${npmrc%/*}" && cp "$npmrc" "$run_root$npmrc"; fi
done

if [[ -n $package ]]; then
  # Only the package and the scripts that check it.
  cp "$package" "$repo/packaging/deb/check_installed.sh" "$repo/tests/window/run_installed_app.sh" \
    "$run_root/root/"
  mkdir -p "$run_root/root/tessarel"  # where the command starts, as with a clone
  command=(bash /root/check_installed.sh "/root/$(basename "$package")" /root/run_installed_app.sh)
  echo "fresh-machine-check: $(basename "$package") in $run_root"
else
  # Only what is committed: the new machine clones main.
  git clone -q --no-hardlinks "$repo" "$run_root/root/tessarel"
  echo "fresh-machine-check: $(git -C "$repo" log -1 --format='%h %s') in $run_root"
fi
echo "fresh-machine-check: running '${command[*]}'"
start=$SECONDS
status=0
with_mounts "$run_root" /bin/bash -c 'update-ca-certificates >/dev/null 2>&1; cd /root/tessarel && "$@"' \
  bash "${command[@]}" || status=$?
echo "fresh-machine-check: '${command[*]}' ended with status $status after $((SECONDS - start)) s"
exit "$status"
