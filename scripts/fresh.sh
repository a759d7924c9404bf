#!/usr/bin/env bash
# Runs one of the README's commands on a fresh machine: a bare Debian in a folder under build/ with a clone
# of the committed tree and nothing else. Needs root.
#   fresh.sh 12|13 [demo|test|build]
# Prints what the command prints, then the release, the result and the time. Ends as the command ends.
set -euo pipefail
source "$(dirname "$0")/lib.sh"

FRESH=$ROOT/build/fresh
RELEASE=${1:-}
COMMAND=${2:-test}
declare -A SUITES=([12]=bookworm [13]=trixie)
SUITE=${SUITES[$RELEASE]:-}
if [[ -z $SUITE || ! -x $ROOT/scripts/$COMMAND.sh ]]; then
  sed -n '/^#   fresh/s/^# *//p' "$0" >&2
  exit 2
fi
MACHINE=$FRESH/$RELEASE-$COMMAND

# bare_system DIRECTORY: sets up the release, from where this system gets its own packages.
bare_system() {
  local mirror
  mirror=$(apt-get indextargets --format '$(REPO_URI)' | grep -m 1 '/debian/*$')
  debootstrap --variant=minbase --include=ca-certificates "$SUITE" "$1" "${mirror%/}" >&2
}

# as_this_system DIRECTORY: how packages and names are reached here.
as_this_system() {
  cp -a /etc/apt/apt.conf.d/. "$1/etc/apt/apt.conf.d/"
  [[ ! -d /etc/apt/auth.conf.d ]] || cp -a /etc/apt/auth.conf.d "$1/etc/apt/"
  cp -L /etc/resolv.conf "$1/etc/resolv.conf"
}

# run_in DIRECTORY: in namespaces of its own, so that no mount and no process is left.
run_in() {
  unshare --mount --pid --fork --kill-child bash -euc '
    mount -t proc proc "$1/proc"
    mount --rbind /dev "$1/dev"
    mount -t tmpfs tmpfs "$1/run"
    exec chroot "$1" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin ${http_proxy:+http_proxy="$http_proxy"} \
      bash -c "cd /root/project && exec scripts/$2.sh"' _ "$1" "$COMMAND"
}

need debootstrap debootstrap
need unshare util-linux
need git git
install_missing

mkdir -p "$FRESH"
if [[ ! -d $FRESH/$SUITE ]]; then
  rm -rf "$FRESH/$SUITE.new"
  bare_system "$FRESH/$SUITE.new"
  mv "$FRESH/$SUITE.new" "$FRESH/$SUITE"
fi
rm -rf "$MACHINE"
cp -a "$FRESH/$SUITE" "$MACHINE"
as_this_system "$MACHINE"
git clone -q --no-local "$ROOT" "$MACHINE/root/project"

status=0
SECONDS=0
run_in "$MACHINE" </dev/null || status=$?
echo "Debian $RELEASE ($SUITE), $(git -C "$ROOT" rev-parse --short HEAD), scripts/$COMMAND.sh:" \
  "$([[ $status -eq 0 ]] && echo passed || echo "failed with $status") in $SECONDS s"
exit "$status"
