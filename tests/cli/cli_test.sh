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

fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
check() {  # check DESCRIPTION EXPECTED_EXIT PATTERN COMMAND... ; the output is in $out
  local description=$1 expected=$2 pattern=$3 status
  shift 3
  out=$("$@" 2>&1)
  status=$?
  [ "$status" -eq "$expected" ] && grep -qE -- "$pattern" <<<"$out" ||
    fail "$description: exit $status (expected $expected), or no line matching '$pattern' in:$(sed 's/^/\n    /' <<<"$out")"
}

check "version" 0 '^libmxlinnet 13\.2$' "${linnet[@]}" version
check "error text" 0 '^53: Input VLAN ID value is Invalid\.$' "${linnet[@]}" error 53
check "error without text" 1 '' "${linnet[@]}" error 112
check "usage error" 2 '' "${linnet[@]}" addr add eth0 not-an-address
check "host" 0 "\"family\": \"$family\"" "${linnet[@]}" --json host

check "list" 0 '^eth0 +enabled +up +52:54:00:00:00:01 +1500 ' "${linnet[@]}" list
grep -q "names are kept" <<<"$out" && fail "names hint on a host with adapters"
check "show" 0 '"address": "192\.0\.2\.11"' "${linnet[@]}" --json show eth0
check "show unknown" 100 '' "${linnet[@]}" show eth9

check "alias add" 0 '' "${linnet[@]}" addr add eth0 192.0.2.60/24
check "alias listed" 0 '^192\.0\.2\.60/24  eth0:2$' "${linnet[@]}" addr eth0
check "alias again" 115 '"status": 115' "${linnet[@]}" --json addr add eth0 192.0.2.60/24
check "alias delete" 0 '' "${linnet[@]}" addr delete eth0 192.0.2.60
check "primary delete" 116 '' "${linnet[@]}" addr delete eth0 192.0.2.10

check "down" 0 '' "${linnet[@]}" down eth2
ip -o link show eth2 | grep -q ',UP' && fail "eth2 still up"
check "up" 0 '' "${linnet[@]}" up eth2
ip -o link show eth2 | grep -q ',UP' || fail "eth2 not up"

check "mtu" 0 '' "${linnet[@]}" mtu eth2 9000
[ "$(cat /sys/class/net/eth2/mtu)" = 9000 ] || fail "eth2 mtu not 9000"
check "mtu bounds" 61 '' "${linnet[@]}" mtu eth2 21
check "mtu file only" 0 '' "${linnet[@]}" mtu eth2 1500 --file-only
[ "$(cat /sys/class/net/eth2/mtu)" = 9000 ] || fail "--file-only changed the live mtu"

check "vlan add" 0 '' "${linnet[@]}" vlan add eth0 5
ip -o link show eth0.5 >/dev/null 2>&1 || fail "no eth0.5 after vlan add"
check "vlan id again" 118 '' "${linnet[@]}" vlan add eth1 5
check "vlan remove" 0 '' "${linnet[@]}" vlan remove eth0 5
ip -o link show eth0.5 >/dev/null 2>&1 && fail "eth0.5 still there"
check "vlan bounds" 53 '' "${linnet[@]}" vlan add eth0 4095

# A host whose Ethernet interfaces all have predictable names: the list says why it is empty.
ip netns add renamed && ip -n renamed link add enp0s3 type vxlan id 3 dstport 4789
check "list renamed" 0 '^linnet: no adapter listed: .* named enp0s3\. .*net\.ifnames=0 biosdevname=0' \
  ip netns exec renamed "${linnet[@]}" list
check "list renamed json" 0 '^\[\]$' ip netns exec renamed "${linnet[@]}" --json list
grep -qE '^linnet: no adapter listed: .* named enp0s3\.' <<<"$out" || fail "list renamed json: no hint"

# No PATH, and ip only in /usr/sbin as on Red Hat and SUSE (/usr is the testbed's overlay).
ip_binary=$(readlink -f "$(command -v ip)")
cp "$ip_binary" /usr/sbin/ip.new && rm -f /usr/local/sbin/ip /usr/local/bin/ip /usr/bin/ip && mv /usr/sbin/ip.new /usr/sbin/ip
check "list without PATH" 0 '^eth0 +enabled ' env -u PATH "${linnet[@]}" list

echo "$((failures == 0 ? 1 : 0)) passed, $failures failed"
[ "$failures" -eq 0 ]
