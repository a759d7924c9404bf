#!/usr/bin/env bash
# Holds what the program shows of a host port against the kernel's own numbers, while pings cross a
# virtual cable between two network namespaces. The near ends are the ports of the simulated machine;
# Wine runs inside their namespace, where nothing else sends.
#   host_adapter_test.sh FOLDER    of the bench's programs
# Exits with 77 where no network namespaces can be made.
set -euo pipefail
source "$(dirname "$0")/../scripts/lib.sh"

BIN=$1
NEAR=qv-near-$$
FAR=qv-far-$$
FAILURES=0

# The program that ships, or the one beside the tests.
QV_PROGRAM=${QV_PROGRAM:-QvTeamCfg.exe}

skip() {
  echo "skipped: $*"
  exit 77
}

check() {
  local what=$1 expected=$2 actual=$3
  if [[ $expected == "$actual" ]]; then echo "ok: $what is $actual"
  else
    echo "FAILED: $what: expected '$expected', the program shows '$actual'"
    FAILURES=$((FAILURES + 1))
  fi
}

near() { ip netns exec "$NEAR" "$@"; }
far() { ip netns exec "$FAR" "$@"; }

# A namespace's deletion takes its interfaces with it.
clean_up() {
  local status=$?
  set +e
  [[ -n ${DRIVE_PID:-} ]] && kill "$DRIVE_PID"
  if [[ -e ${PREFIX:-} ]]; then
    WINEPREFIX=$PREFIX near timeout 30 wineserver -k
    WINEPREFIX=$PREFIX near timeout 30 wineserver -w
    rm -rf "$PREFIX"
  fi
  ip netns del "$NEAR"
  ip netns del "$FAR"
  exit $status
} 2>/dev/null

# cable N: vethN of the machine to farN on the other side. Neighbours are told to each other, so that
# pings are the only frames. Behind the cable's end somebody seems to have the next address too, but
# nobody answers there.
cable() {
  local number=$1 end
  ip -n "$NEAR" link add "veth$number" type veth peer name "far$number" netns "$FAR"
  ip -n "$NEAR" address add "192.0.2.$((16 * number + 1))/28" dev "veth$number"
  ip -n "$FAR" address add "192.0.2.$((16 * number + 2))/28" dev "far$number"
  ip -n "$NEAR" link set "veth$number" up
  ip -n "$FAR" link set "far$number" up
  for end in 2 3; do
    ip -n "$NEAR" neighbour add "192.0.2.$((16 * number + end))" dev "veth$number" nud permanent \
      lladdr "$(far cat "/sys/class/net/far$number/address")"
  done
  ip -n "$FAR" neighbour add "192.0.2.$((16 * number + 1))" dev "far$number" nud permanent \
    lladdr "$(kernel "$number" address)"
}

# kernel N FILE: what the kernel says of vethN now.
kernel() {
  near cat "/sys/class/net/veth$1/$2"
}

no_ipv6() {
  ip netns exec "$1" sh -c 'for file in /proc/sys/net/ipv6/conf/*/disable_ipv6; do
    [ ! -e "$file" ] || echo 1 >"$file"; done'
}

# drive COMMAND...: one command of bench/drive; ANSWER holds what it shows. Ends the test when refused.
drive() {
  local line
  ANSWER=
  echo "$*" >&"${DRIVE[1]}"
  while IFS= read -r -t 120 line <&"${DRIVE[0]}"; do
    line=${line%$'\r'}
    case $line in
      ok*) return 0 ;;
      error*) echo "FAILED: $*: $line"; exit 1 ;;
      *) ANSWER+=$line$'\n' ;;
    esac
  done
  echo "FAILED: $*: no answer"
  exit 1
}

# shown NAME: the value beside this name in the list that was read last.
shown() {
  sed -n "s/^ *[0-9]* \"$1\" \"\(.*\)\"\$/\1/p" <<<"$ANSWER"
}

# frames N: sent and received ones of vethN.
frames() {
  echo "$(kernel "$1" statistics/tx_packets) $(kernel "$1" statistics/rx_packets)"
}

# compare_statistics N WHEN: after Refresh, with the traffic at rest.
compare_statistics() {
  local port=$1 when=$2 before after
  before=$(frames "$port")
  drive press 1012
  drive rows 1014
  after=$(frames "$port")
  check "port $port $when: the kernel's count, which rests" "$before" "$after"
  check "port $port $when: frames transmitted" "${after% *}" "$(shown 'Frames Transmitted OK')"
  check "port $port $when: frames received" "${after#* }" "$(shown 'Frames Received OK')"
}

# compare_general N WHEN LINK
compare_general() {
  local port=$1 when=$2 link=$3 address
  address=$(kernel "$port" address)
  drive dialog 1101
  drive rows SysListView32
  check "port $port $when: current address" "${address//:/-}" "$(shown 'Current MAC Address')"
  check "port $port $when: permanent address" "${address//:/-}" "$(shown 'Permanent MAC Address')"
  check "port $port $when: MTU" "$(kernel "$port" mtu)" "$(shown MTU)"
  check "port $port $when: link status" "$link" "$(shown 'Link Status')"
  check "port $port $when: link speed" "10 Gbps" "$(shown 'Link Speed')"
}

# cross N COUNT UNANSWERED: pings over cable N.
cross() {
  local port=$1 count=$2 unanswered=$3 sent received
  read -r sent received <<<"$(frames "$port")"
  near ping -q -i 0.02 -c "$count" "192.0.2.$((16 * port + 2))" >/dev/null
  near ping -q -i 0.02 -W 0.2 -c "$unanswered" "192.0.2.$((16 * port + 3))" >/dev/null || true
  check "port $port: the kernel's count of $count pings and $unanswered unanswered ones" \
    "$((sent + count + unanswered)) $((received + count))" "$(frames "$port")"
}

# open_properties N: the sheet of the N-th adapter of the list.
open_properties() {
  drive dialog 1100
  drive tick 1002 "$1"
  drive wait enabled 1001
  drive press 1001 leave
}

statistics_page() {
  drive tab Statistics
  drive dialog 1102
}

use_reserved_machine

command -v ip >/dev/null && command -v ping >/dev/null || skip "ip or ping is missing"
trap clean_up EXIT
trap "exit 143" TERM INT
ip netns add "$NEAR" 2>/dev/null && ip netns add "$FAR" 2>/dev/null ||
  skip "this machine lets nobody make network namespaces"
near true 2>/dev/null || skip "nobody can enter a network namespace here, as in a changed root"
no_ipv6 "$NEAR"
no_ipv6 "$FAR"
cable 0 2>/dev/null && cable 1 || skip "this machine makes no virtual cables"

# Drivers see the namespace that the Wine server was started in, so it must be another server.
PREFIX=$WINEPREFIX-network-$$
cp -a "$WINEPREFIX" "$PREFIX"
export WINEPREFIX=$PREFIX
near timeout 30 wineserver -p120

cd "$BIN"
coproc DRIVE { exec ip netns exec "$NEAR" timeout 300 wine qvdrive.exe 2>/dev/null; }
drive run qvbench.exe build host-ports
drive start "\"${QV_PROGRAM//\\/\\\\}\""
drive dialog 1100
drive wait rows 1002 2
open_properties 0
compare_general 0 "at first" Connected
statistics_page
compare_statistics 0 "before any ping"
cross 0 7 2
compare_statistics 0 "after some pings"
cross 0 23 5
compare_statistics 0 "after more pings"

# The cable is pulled on the other side, and the frames become smaller.
ip -n "$FAR" link set far0 down
ip -n "$NEAR" link set veth0 mtu 1400
drive tab General
compare_general 0 "with the cable pulled" "Network Cable Unplugged"
ip -n "$FAR" link set far0 up
statistics_page
drive tab General
compare_general 0 "with the cable back" Connected
drive close cancel

drive dialog 1100
drive untick 1002 0
cross 1 11 3
open_properties 1
compare_general 1 "beside the first" Connected

# An answer of the adapter's own goes before its host's.
drive run qvbench.exe set port1 oid 0x00010114 dword:1
statistics_page
compare_statistics 1 "beside the first"
drive tab General
compare_general 1 "unplugged by hand" "Network Cable Unplugged"
drive run qvbench.exe set port1 oid 0x00010114 none
statistics_page
drive tab General
compare_general 1 "as its host says" Connected

# Whoever held the adapter while it went gets no more answers; whoever comes later gets no adapter.
statistics_page
last=$(frames 1)
ip -n "$NEAR" link del veth1
drive press 1012
drive rows 1014
check "port 1 gone: frames transmitted" "${last% *}" "$(shown 'Frames Transmitted OK')"
drive press 1012
drive rows 1014
check "port 1 gone: rows" "" "$ANSWER"
drive close cancel

echo "$FAILURES failures"
[[ $FAILURES -eq 0 ]]
