#!/usr/bin/env bash
# linnet as an administrator uses it, inside the simulated host:
#   cli_test.sh LINNET FAMILY
set -uo pipefail
[ -n "${LINNET_TESTBED:-}" ] || { echo "runs only inside scripts/testbed"; exit 77; }
# Each linnet runs under the words of $LINNET_TEST_LAUNCHER, if any (e.g. valgrind).
read -ra linnet <<<"${LINNET_TEST_LAUNCHER:-}"
linnet+=("$1")
family=$2
failures=0

check() {  # check DESCRIPTION EXPECTED_EXIT COMMAND... ; the output is in $out
  local description=$1 expected=$2
  shift 2
  out=$("$@" 2>&1)
  local status=$?
  if [ "$status" -ne "$expected" ]; then
    echo "FAIL: $description: exit $status, expected $expected"; echo "$out" | sed 's/^/    /'
    failures=$((failures + 1))
  fi
}
expect_output() {  # expect_output DESCRIPTION PATTERN
  if ! grep -qE -- "$2" <<<"$out"; then
    echo "FAIL: $1: no line matching '$2' in:"; echo "$out" | sed 's/^/    /'
    failures=$((failures + 1))
  fi
}

check "version" 0 "${linnet[@]}" version
expect_output "version" '^libmxlinnet 13\.2$'
check "error text" 0 "${linnet[@]}" error 53
expect_output "error text" '^53: Input VLAN ID value is Invalid\.$'
check "error without text" 1 "${linnet[@]}" error 112
check "usage error" 2 "${linnet[@]}" addr add eth0 not-an-address

check "host" 0 "${linnet[@]}" --json host
expect_output "host" "\"family\": \"$family\""

check "list" 0 "${linnet[@]}" list
expect_output "list" '^eth0 +enabled +up +52:54:00:00:00:01 +1500 '
grep -q "names are kept" <<<"$out" && { echo "FAIL: names hint on a host with adapters"; failures=$((failures + 1)); }
check "show" 0 "${linnet[@]}" --json show eth0
expect_output "show" '"address": "192\.0\.2\.11"'
check "show unknown" 100 "${linnet[@]}" show eth9

check "alias add" 0 "${linnet[@]}" addr add eth0 192.0.2.60/24
check "alias listed" 0 "${linnet[@]}" addr eth0
expect_output "alias listed" '^192\.0\.2\.60/24  eth0:2$'
check "alias again" 115 "${linnet[@]}" --json addr add eth0 192.0.2.60/24
expect_output "alias again json" '"status": 115'
check "alias delete" 0 "${linnet[@]}" addr delete eth0 192.0.2.60
check "primary delete" 116 "${linnet[@]}" addr delete eth0 192.0.2.10

check "down" 0 "${linnet[@]}" down eth2
ip -o link show eth2 | grep -q ',UP' && { echo "FAIL: eth2 still up"; failures=$((failures + 1)); }
check "up" 0 "${linnet[@]}" up eth2
ip -o link show eth2 | grep -q ',UP' || { echo "FAIL: eth2 not up"; failures=$((failures + 1)); }

check "mtu" 0 "${linnet[@]}" mtu eth2 9000
[ "$(cat /sys/class/net/eth2/mtu)" = 9000 ] || { echo "FAIL: eth2 mtu not 9000"; failures=$((failures + 1)); }
check "mtu bounds" 61 "${linnet[@]}" mtu eth2 21
check "mtu file only" 0 "${linnet[@]}" mtu eth2 1500 --file-only
[ "$(cat /sys/class/net/eth2/mtu)" = 9000 ] || { echo "FAIL: --file-only changed the live mtu"; failures=$((failures + 1)); }

check "vlan add" 0 "${linnet[@]}" vlan add eth0 5
ip -o link show eth0.5 >/dev/null 2>&1 || { echo "FAIL: no eth0.5 after vlan add"; failures=$((failures + 1)); }
check "vlan id again" 118 "${linnet[@]}" vlan add eth1 5
check "vlan remove" 0 "${linnet[@]}" vlan remove eth0 5
ip -o link show eth0.5 >/dev/null 2>&1 && { echo "FAIL: eth0.5 still there"; failures=$((failures + 1)); }
check "vlan bounds" 53 "${linnet[@]}" vlan add eth0 4095

# A host whose Ethernet interfaces all have predictable names: the list says why it is empty.
ip netns add renamed && ip -n renamed link add enp0s3 type vxlan id 3 dstport 4789
check "list renamed" 0 ip netns exec renamed "${linnet[@]}" list
expect_output "list renamed" '^linnet: no adapter listed: .* named enp0s3\. .*net\.ifnames=0 biosdevname=0'
check "list renamed json" 0 ip netns exec renamed "${linnet[@]}" --json list
expect_output "list renamed json" '^\[\]$'
expect_output "list renamed json" '^linnet: no adapter listed: .* named enp0s3\.'

# No PATH, and ip only in /usr/sbin as on Red Hat and SUSE (/usr is the testbed's overlay).
ip_binary=$(readlink -f "$(command -v ip)")
cp "$ip_binary" /usr/sbin/ip.new && rm -f /usr/local/sbin/ip /usr/local/bin/ip /usr/bin/ip && mv /usr/sbin/ip.new /usr/sbin/ip
check "list without PATH" 0 env -u PATH "${linnet[@]}" list
expect_output "list without PATH" '^eth0 +enabled '

echo "$((failures == 0 ? 1 : 0)) passed, $failures failed"
[ "$failures" -eq 0 ]
