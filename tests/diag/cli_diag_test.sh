#!/usr/bin/env bash
# linnet's diagnostics inside the simulated host:  cli_diag_test.sh LINNET
set -uo pipefail
# Each linnet runs under the words of $LINNET_TEST_LAUNCHER, if any (e.g. valgrind).
read -ra linnet <<<"${LINNET_TEST_LAUNCHER:-}"
linnet+=("$1")
failures=0

check() {  # check DESCRIPTION EXPECTED_EXIT PATTERN COMMAND...
  local description=$1 expected=$2 pattern=$3 out status
  shift 3
  out=$("$@" 2>&1)
  status=$?
  if [ "$status" -ne "$expected" ] || ! grep -qE -- "$pattern" <<<"$out"; then
    echo "FAIL: $description: exit $status (expected $expected), no line matching '$pattern' in:"
    echo "$out" | sed 's/^/    /'
    failures=$((failures + 1))
  fi
}

check "ping" 0 '^192\.0\.2\.1: 2 sent, 2 received, 0% loss' "${linnet[@]}" ping 192.0.2.1 -c 2 -w 5000
check "ping verbose" 0 '^pktsSent - 1, pktsRcvd - 1, avgRtt - ' "${linnet[@]}" -v ping 127.0.0.1 -c 1
check "ping ipv6" 105 'IPv6' "${linnet[@]}" ping ::1
check "ping one argument" 0 ': 0 sent, 0 received' "${linnet[@]}" ping '127.0.0.1; touch /tmp/canary' -c 1
[ -e /tmp/canary ] && { echo "FAIL: a shell ran the target"; failures=$((failures + 1)); }
check "traceroute" 0 '^ 2  203\.0\.113\.1 .* ms  \(last\)$' "${linnet[@]}" traceroute 203.0.113.1
check "traceroute json" 0 '"address": "192\.0\.2\.1"' "${linnet[@]}" --json traceroute 192.0.2.1
# The adapters are vxlan devices: the kernel's own UDP socket on 4789.
check "connections" 0 '^udp +UNCONN +0\.0\.0\.0:4789 +0\.0\.0\.0:\*$' "${linnet[@]}" connections
check "stats" 0 '^  tx_packets  [0-9]+$' "${linnet[@]}" stats eth0
check "stats json" 0 '"valid_mask": 11471' "${linnet[@]}" --json stats eth0
check "stats unknown" 100 'status 100' "${linnet[@]}" stats eth9
check "stats watch" 0 '^ +[0-9.]+ +[0-9.]+ +[0-9.]+ +[0-9.]+$' "${linnet[@]}" stats eth0 --watch -n 1

echo "$((failures == 0 ? 1 : 0)) passed, $failures failed"
[ "$failures" -eq 0 ]
