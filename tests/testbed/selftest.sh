#!/usr/bin/env bash
# Self-test of the testbed: checks, from inside a simulated host, what
# scripts/testbed promises. Run it through the testbed with the same options:
#
#   scripts/testbed --family F [OPTIONS] -- tests/testbed/selftest.sh F [OPTIONS]
#
# OPTIONS (what the testbed was asked for): --adapters N, --aliases-every M,
# --bridge, --bypass IF. Every check runs; each failure prints a line
# "selftest: FAIL ..." and the exit status is 1 if any failed.
# No pipefail: `producer | grep -q` may end the producer with SIGPIPE.
set -u

family=${1:-}
shift || true
adapters=3
aliases_every=0
bridge=no
bypass=""
failures=0
checks=0

while [ $# -gt 0 ]; do
  case "$1" in
    --adapters) adapters=$2; shift 2 ;;
    --aliases-every) aliases_every=$2; shift 2 ;;
    --bridge) bridge=yes; shift ;;
    --bypass) bypass=$2; shift 2 ;;
    *) echo "selftest: unknown option $1" >&2; exit 2 ;;
  esac
done

# Pings and edits below are meant for the simulated host only; on the real host
# 192.0.2.1 may well be a real router.
refuse_outside_testbed() {
  case "$family" in redhat|suse|xenserver|unknown) ;; *)
    echo "usage: $0 redhat|suse|xenserver|unknown [OPTIONS]" >&2; exit 2 ;;
  esac
  if [ "${LINNET_TESTBED:-}" != "$family" ] || [ ! -f /run/testbed/calls.log ] ||
    ! ip link show up0 >/dev/null 2>&1; then
    echo "selftest: not inside a $family testbed; run it through scripts/testbed --family $family" >&2
    exit 2
  fi
}

fail() {
  echo "selftest: FAIL $current: $*" >&2
  current_failed=yes
}

# check NAME: runs the function check_NAME; it reports problems with fail.
check() {
  current=$1
  current_failed=no
  checks=$((checks + 1))
  "check_$1"
  if [ "$current_failed" = yes ]; then
    failures=$((failures + 1))
  else
    echo "selftest: ok   $1"
  fi
}

# expect_file PATH CONTENT: PATH holds exactly CONTENT (printf %b escapes).
expect_file() {
  local expected actual
  expected=$(printf '%b' "$2"; echo x)
  actual=$(cat -- "$1" 2>/dev/null; echo x)
  [ "$actual" = "$expected" ] || fail "$1 holds $(printf '%q' "${actual%x}"), expected $(printf '%q' "${expected%x}")"
}

expect_line() { grep -qxF -- "$2" "$1" 2>/dev/null || fail "$1 has no line '$2'"; }

# poll SECONDS COMMAND...: true once COMMAND succeeds within SECONDS.
poll() {
  local tries=$(($1 * 20))
  shift
  until "$@"; do
    tries=$((tries - 1))
    [ "$tries" -gt 0 ] || return 1
    sleep 0.05
  done
}

has_alias() {
  [ "$1" -eq 0 ] || { [ "$aliases_every" -gt 0 ] && [ $(($1 % aliases_every)) -eq 0 ]; }
}

adapter_net() {
  if [ "$1" -eq 0 ]; then echo 192.0.2; else echo "198.$((18 + $1 / 256)).$(($1 % 256))"; fi
}

called() { grep -qxF -- "$1" /run/testbed/calls.log || fail "calls.log lacks '$1'"; }

# ------------------------------------------------------------------ mounts

check_tmp_empty_and_private() {
  local left
  left=$(find /tmp -mindepth 1 -maxdepth 1 -printf '%f ')
  [ -z "$left" ] || fail "/tmp is not empty: $left"
  local dir
  for dir in /tmp /run /var/run; do
    [ "$(findmnt -n -o FSTYPE --target "$dir")" = tmpfs ] || fail "$dir is not a private tmpfs"
  done
}

check_namespaces() {
  grep -q testbed-init /proc/1/cmdline || fail "pid 1 is not the testbed's init"
  [ "$(findmnt -n -o PROPAGATION /)" = private ] || fail "/ is not mounted private"
  [ "$(hostname)" = testbed ] || fail "host name is $(hostname)"
}

check_dev() {
  [ -S /dev/log ] || fail "/dev/log is not a socket"
  local node
  for node in null zero full random urandom tty; do
    [ -c "/dev/$node" ] || fail "/dev/$node is not a character device"
  done
  echo probe >/dev/null || fail "cannot write /dev/null"
  [ "$(head -c 4 /dev/zero | od -An -tx1 | tr -d ' ')" = 00000000 ] || fail "/dev/zero gives no zeros"
}

check_etc_overlay() {
  local changes=/run/testbed/etc-changes
  [ -z "$(ls -A "$changes")" ] || fail "$changes is not empty at start: $(ls -A "$changes")"
  if [ ! -f /etc/resolv.conf ] || [ -L /etc/resolv.conf ]; then fail "/etc/resolv.conf is not a regular file"; fi
  [ "$(grep -c '^nameserver ' /etc/resolv.conf)" -eq 2 ] || fail "/etc/resolv.conf lacks 2 nameserver lines"
  grep -q '^#' /etc/resolv.conf || fail "/etc/resolv.conf has no comment line"
  echo "nameserver 203.0.113.53" >>/etc/resolv.conf || fail "cannot write /etc/resolv.conf"
  [ -f "$changes/resolv.conf" ] || fail "a change to /etc/resolv.conf does not show in $changes"
  [ "$(ls -A "$changes")" = resolv.conf ] || fail "$changes holds more than the change: $(ls -A "$changes")"
  sed -i '$d' /etc/resolv.conf
  ! touch "$changes/probe" 2>/dev/null || fail "$changes is writable"
}

# ------------------------------------------------------------------ family files

check_issue() {
  case "$family" in
    redhat) expect_file /etc/issue 'Red Hat Enterprise Linux Server release 7.9 (Maipo)\nKernel \\r on an \\m\n\n' ;;
    xenserver) expect_file /etc/issue 'XenServer release 7.1.0-2 (xenenterprise)\nKernel \\r on an \\m\n\n' ;;
    suse) expect_file /etc/issue 'Welcome to SUSE Linux Enterprise Server 15 SP5  (x86_64) - Kernel \\r (\\l).\n\n' ;;
    unknown) expect_file /etc/issue 'Debian GNU/Linux 12 \\n \\l\n\n' ;;
  esac
}

check_redhat_files() {
  local dir=/etc/sysconfig/network-scripts k net mac
  expect_file /etc/sysconfig/network 'NETWORKING=yes\nHOSTNAME=testbed\n'
  expect_line "$dir/ifcfg-lo" DEVICE=lo
  for ((k = 0; k < adapters; k++)); do
    net=$(adapter_net "$k")
    mac=$(cat "/sys/class/net/eth$k/address")
    expect_line "$dir/ifcfg-eth$k" "DEVICE=eth$k"
    expect_line "$dir/ifcfg-eth$k" "HWADDR=$mac"
    expect_line "$dir/ifcfg-eth$k" ONBOOT=yes
    if [ "$k" -eq 1 ]; then
      expect_line "$dir/ifcfg-eth1" BOOTPROTO=dhcp
    else
      expect_line "$dir/ifcfg-eth$k" BOOTPROTO=static
      expect_line "$dir/ifcfg-eth$k" "IPADDR=$net.10"
      expect_line "$dir/ifcfg-eth$k" NETMASK=255.255.255.0
    fi
    if has_alias "$k"; then
      expect_file "$dir/ifcfg-eth$k:1" "DEVICE=eth$k:1\nBOOTPROTO=static\nIPADDR=$net.11\nNETMASK=255.255.255.0\nTYPE=Ethernet\nONBOOT=no\n"
    elif [ -e "$dir/ifcfg-eth$k:1" ]; then
      fail "ifcfg-eth$k:1 exists without an alias"
    fi
  done
  [ "$adapters" -eq 0 ] || expect_line "$dir/ifcfg-eth0" GATEWAY=192.0.2.1
  if [ "$family" = xenserver ] && [ "$bridge" = yes ]; then
    expect_line "$dir/ifcfg-xenbr0" IPADDR=198.51.100.10
  elif [ -e "$dir/ifcfg-xenbr0" ]; then
    fail "ifcfg-xenbr0 exists"
  fi
  local files=("$dir"/ifcfg-eth*)
  [ "${#files[@]}" -eq "$(expected_ifcfg_count)" ] ||
    fail "$dir holds ${#files[@]} ifcfg-eth files, expected $(expected_ifcfg_count)"
}

expected_ifcfg_count() {
  local k count=$adapters
  for ((k = 0; k < adapters; k++)); do
    if has_alias "$k"; then count=$((count + 1)); fi
  done
  echo "$count"
}

check_suse_files() {
  local dir=/etc/sysconfig/network k net
  expect_line "$dir/config" 'NETWORKMANAGER="no"'
  grep -q '^#NETWORKMANAGER=' "$dir/config" || fail "$dir/config has no commented NETWORKMANAGER line"
  [ "$adapters" -eq 0 ] || expect_file "$dir/routes" 'default 192.0.2.1 - eth0\n'
  expect_line "$dir/ifcfg-lo" STARTMODE=nfsroot
  for ((k = 0; k < adapters; k++)); do
    net=$(adapter_net "$k")
    expect_line "$dir/ifcfg-eth$k" "STARTMODE='auto'"
    if [ "$k" -eq 1 ]; then
      expect_line "$dir/ifcfg-eth1" "BOOTPROTO='dhcp'"
    else
      expect_line "$dir/ifcfg-eth$k" "BOOTPROTO='static'"
      expect_line "$dir/ifcfg-eth$k" "IPADDR='$net.10'"
      expect_line "$dir/ifcfg-eth$k" "NETMASK='255.255.255.0'"
    fi
    if has_alias "$k"; then
      grep -A2 -xF "IPADDR0='$net.11'" "$dir/ifcfg-eth$k" | tr '\n' ' ' |
        grep -qxF "IPADDR0='$net.11' NETMASK0='255.255.255.0' LABEL0='1' " ||
        fail "ifcfg-eth$k lacks the alias keys IPADDR0, NETMASK0, LABEL0 in order"
    elif grep -q IPADDR0 "$dir/ifcfg-eth$k"; then
      fail "ifcfg-eth$k has alias keys without an alias"
    fi
  done
  [ -L /etc/rc3.d/S05network ] || fail "/etc/rc3.d/S05network is missing"
  [ ! -e /etc/sysconfig/network-scripts ] || fail "a SUSE host has /etc/sysconfig/network-scripts"
}

check_sysconfig() {
  case "$family" in
    redhat|xenserver) check_redhat_files ;;
    suse) check_suse_files ;;
    unknown) [ ! -e /etc/sysconfig ] || fail "an unknown family has /etc/sysconfig" ;;
  esac
}

check_pci_ids() {
  local path=""
  case "$family" in
    redhat|xenserver) path=/usr/share/hwdata/pci.ids ;;
    suse) path=/usr/share/pci.ids ;;
  esac
  if [ -n "$path" ]; then
    cmp -s "$path" /usr/share/misc/pci.ids || fail "$path is not a copy of /usr/share/misc/pci.ids"
  fi
  local other
  for other in /usr/share/hwdata/pci.ids /usr/share/pci.ids; do
    [ "$other" = "$path" ] || [ ! -e "$other" ] || fail "$other exists on a $family host"
  done
}

# ------------------------------------------------------------------ network

check_adapters() {
  local k net header
  [ "$(ip -o link show | grep -c ': eth[0-9]*:')" -eq "$adapters" ] ||
    fail "$(ip -o link show | grep -c ': eth[0-9]*:') adapters, expected $adapters"
  for ((k = 0; k < adapters; k++)); do
    net=$(adapter_net "$k")
    header=$(ip addr show dev "eth$k" | head -1)
    [[ $header == *": eth$k: <"*UP,LOWER_UP* ]] || fail "eth$k is not a plain, up adapter: $header"
    ip -o -4 addr show dev "eth$k" | grep -q " inet $net.10/24 brd $net.255 scope global eth$k\\\\" ||
      fail "eth$k lacks $net.10/24"
    if has_alias "$k"; then
      ip -o -4 addr show dev "eth$k" | grep -q " inet $net.11/24 brd $net.255 scope global secondary eth$k:1\\\\" ||
        fail "eth$k lacks $net.11/24 labelled eth$k:1"
    fi
  done
}

check_mtu_range() {
  ip link set dev eth0 mtu 65535 || fail "eth0 refuses MTU 65535"
  ip link set dev eth0 mtu 68 || fail "eth0 refuses MTU 68"
  ! ip link set dev eth0 mtu 67 2>/dev/null || fail "eth0 accepts MTU 67"
  ip link set dev eth0 mtu 1500
}

check_routes() {
  ip route show default | grep -qx 'default via 192.0.2.1 dev eth0 *' ||
    fail "no default route via 192.0.2.1: $(ip route show default)"
}

check_ping_router() {
  ping -c1 -W2 192.0.2.1 >/dev/null || fail "ping 192.0.2.1 got no answer"
}

check_traceroute() {
  local hops
  hops=$(traceroute -4 -n -q1 -w2 203.0.113.1 2>/dev/null | awk 'NR > 1 { print $1, $2 }' | tr '\n' ' ')
  [ "$hops" = "1 192.0.2.1 2 203.0.113.1 " ] || fail "traceroute hops are '$hops'"
}

check_bridge() {
  ip -o -4 addr show dev xenbr0 | grep -q ' inet 198.51.100.10/24 ' || fail "xenbr0 lacks 198.51.100.10/24"
  ip -o link show dev pif1 | grep -q '^[0-9]*: pif1@eth1: .* master xenbr0 ' || fail "pif1@eth1 is not a port of xenbr0"
}

# ------------------------------------------------------------------ kernel files

check_proc_net() {
  expect_file /proc/net/vlan/config 'VLAN Dev name\t | VLAN ID\nName-Type: VLAN_NAME_TYPE_RAW_PLUS_VID_NO_PAD\n'
  [ "$(readlink /proc/net)" = /run/testbed/procnet ] || fail "/proc/net points to $(readlink /proc/net)"
  grep -q '^ *up0:' /proc/net/dev || fail "/proc/net/dev does not list up0"
  [ "$(ip netns exec router cat /proc/net/dev | grep -c '^ *lan0:')" -eq 1 ] ||
    fail "/proc/net/dev is not the reader's own namespace's"
  head -1 /proc/net/tcp | grep -q local_address || fail "/proc/net/tcp is unreadable"
}

check_pci_sysfs() {
  local devices=/sys/bus/pci/devices
  expect_file "$devices/vendor" '0x8086\n'
  expect_file "$devices//device" '0x1572\n'
  printf '0x10fb\n' >/run/testbed/pci/device
  expect_file "$devices/device" '0x10fb\n'
  printf '0x1528\n' >/run/testbed/pci/device.new && mv /run/testbed/pci/device.new /run/testbed/pci/device
  expect_file "$devices/device" '0x1528\n'
  printf '0x1572\n' >/run/testbed/pci/device
  local real=("$devices"/0000:*)
  [ -e "${real[0]}" ] || fail "$devices lost the real devices"
}

check_bypass() {
  local k name
  for ((k = 0; k < adapters; k++)); do
    name=eth$k
    if [ "$name" = "$bypass" ]; then
      [ -r "/sys/class/net/$name/bypass" ] || fail "/sys/class/net/$name/bypass is missing"
    else
      [ ! -e "/sys/class/net/$name/bypass" ] || fail "/sys/class/net/$name/bypass exists"
    fi
  done
  [ -n "$bypass" ] || return 0
  # Only eth0 has a peer to send traffic to.
  if [ "$bypass" = eth0 ]; then
    local stats=/sys/class/net/eth0/statistics/tx_packets before
    before=$(cat "$stats")
    ping -c1 -W2 192.0.2.1 >/dev/null 2>&1 || true
    [ "$(cat "$stats")" -gt "$before" ] || fail "$stats stays at $before after traffic"
  fi
  mv "/run/testbed/bypass/$bypass" /run/testbed/bypass/off
  [ ! -e "/sys/class/net/$bypass/bypass" ] || fail "removing /run/testbed/bypass/$bypass leaves the bypass entry"
  mv /run/testbed/bypass/off "/run/testbed/bypass/$bypass"
}

# ------------------------------------------------------------------ stand-ins

check_vconfig() {
  vconfig add eth0 5 >/dev/null || fail "vconfig add eth0 5 failed"
  called "vconfig add eth0 5"
  ip addr show | grep -q '^[0-9]*: eth0.5@eth0: ' || fail "ip addr show has no eth0.5@eth0"
  grep -q '^eth0.5  VID: 5	' /proc/net/vlan/eth0.5 || fail "/proc/net/vlan/eth0.5 lacks its VID line"
  expect_line /proc/net/vlan/eth0.5 'Device: eth0'
  expect_line /proc/net/vlan/config 'eth0.5         | 5  | eth0'
  vconfig add eth0 5 >/dev/null 2>&1
  [ $? -eq 3 ] || fail "adding eth0.5 twice does not exit 3"
  vconfig add eth999 5 >/dev/null 2>&1
  [ $? -eq 3 ] || fail "adding a VLAN to a missing parent does not exit 3"
  vconfig rem eth0.5 >/dev/null || fail "vconfig rem eth0.5 failed"
  ! ip link show dev eth0.5 >/dev/null 2>&1 || fail "eth0.5 survives vconfig rem"
  [ ! -e /proc/net/vlan/eth0.5 ] || fail "/proc/net/vlan/eth0.5 survives vconfig rem"
  ! grep -q '^eth0.5 ' /proc/net/vlan/config || fail "the config line of eth0.5 survives vconfig rem"
}

check_runlevel() {
  [ "$(runlevel)" = "N 3" ] || fail "runlevel prints '$(runlevel)'"
  called runlevel
  echo "3 5" >/run/testbed/runlevel
  [ "$(runlevel)" = "3 5" ] || fail "runlevel ignores its knob"
  echo "N 3" >/run/testbed/runlevel
}

check_service() {
  local out status
  out=$(service NetworkManager status)
  status=$?
  if [ "$status" -ne 3 ] || [[ $out != *stopped* ]]; then fail "default status: '$out', exit $status"; fi
  called "service NetworkManager status"
  echo running >/run/testbed/networkmanager
  out=$(service NetworkManager status)
  status=$?
  if [ "$status" -ne 0 ] || [[ $(head -1 <<<"$out") != *running* ]]; then
    fail "knob running: '$out', exit $status"
  fi
  echo stopped >/run/testbed/networkmanager
}

check_ifup_ifdown() {
  local name=eth$((adapters - 1))
  ifdown "$name" || fail "ifdown $name failed"
  ! ip -o link show dev "$name" | grep -q '[<,]UP[,>]' || fail "$name is still up after ifdown"
  ifup "$name" || fail "ifup $name failed"
  ip -o link show dev "$name" | grep -q '[<,]UP[,>]' || fail "$name is not up after ifup"
  called "ifdown $name"
  called "ifup $name"
  ! ifup eth999 2>/dev/null || fail "ifup of an unknown interface succeeds"
  touch /run/testbed/fail-ifup
  ! ifup "$name" 2>/dev/null || fail "ifup succeeds despite /run/testbed/fail-ifup"
  rm /run/testbed/fail-ifup
}

check_dhcpcd() {
  local pidfile=/var/run/dhcpcd-eth1.pid pid
  dhcpcd eth1 || fail "dhcpcd eth1 failed"
  called "dhcpcd eth1"
  pid=$(cat "$pidfile" 2>/dev/null)
  if [ -z "$pid" ] || ! kill -0 "$pid" 2>/dev/null; then
    fail "$pidfile names no running process"
    return
  fi
  kill "$pid"
  rm -f "$pidfile"
}

check_syslog() {
  local tag=selftest-$$-$RANDOM
  logger -u /dev/log -t linnet "$tag" || fail "logger cannot send to /dev/log"
  poll 2 grep -q "linnet: $tag\$" /run/testbed/syslog || fail "/run/testbed/syslog lacks the message $tag"
}

main() {
  refuse_outside_testbed
  check tmp_empty_and_private
  check namespaces
  check dev
  check etc_overlay
  check issue
  check sysconfig
  check pci_ids
  check adapters
  check proc_net
  check pci_sysfs
  check bypass
  check runlevel
  check service
  check syslog
  if [ "$adapters" -ge 1 ]; then
    check routes
    check ping_router
    check traceroute
    check mtu_range
    check vconfig
    check ifup_ifdown
  fi
  [ "$adapters" -lt 2 ] || check dhcpcd
  [ "$bridge" = no ] || check bridge
  echo "selftest: $checks checks, $failures failed ($family)"
  [ "$failures" -eq 0 ]
}

main
