#!/usr/bin/env bash
# Self-test of the testbed: from inside a simulated host, runs each probe
# below and compares what they print with tests/testbed/NAME.expected, the
# host scripts/testbed promises for that configuration (its family, adapters,
# aliases, bridge and bypass). Run it through the testbed:
#
#   scripts/testbed --family F [OPTIONS] -- tests/testbed/selftest.sh NAME
#
# LINNET_REGENERATE=1 writes NAME.expected from what the probes print (read
# the diff before committing it). A probe prints its commands' output and
# error text; `$?` shows a status where the status is the point.
set -u
expected=$(dirname "$0")/${1:?usage: selftest.sh NAME}.expected

# The probes edit /etc and ping 192.0.2.1, which may be a real router outside.
if [ -z "${LINNET_TESTBED:-}" ] || [ ! -f /run/testbed/calls.log ] || ! ip link show up0 >/dev/null 2>&1; then
  echo "selftest: not inside a testbed; run it through scripts/testbed" >&2
  exit 2
fi

probes() {
  cat <<'EOF'
private mounts|ls -A /tmp; stat -f -c %T /tmp /run /var/run; findmnt -n -o PROPAGATION /; hostname; grep -c testbed-init /proc/1/cmdline
dev|stat -c '%n %F' /dev/log /dev/null /dev/zero /dev/full /dev/random /dev/urandom /dev/tty; head -c4 /dev/zero | od -An -tx1; echo x >/dev/null; echo $?
etc overlay|ls -A /run/testbed/etc-changes; stat -c %F /etc/resolv.conf; cat /etc/resolv.conf; echo 'nameserver 203.0.113.53' >>/etc/resolv.conf; ls -A /run/testbed/etc-changes; sed -i '$d' /etc/resolv.conf; touch /run/testbed/etc-changes/x 2>/dev/null; echo $?
family files|cat /etc/issue; find /etc/sysconfig -type f | sort | xargs -r -d '\n' grep -H ''; ls -l /etc/rc3.d 2>&1 | grep -o 'S05network.*'; ls -d /etc/sysconfig/network-scripts
pci.ids|cmp /usr/share/misc/pci.ids /usr/share/hwdata/pci.ids; cmp /usr/share/misc/pci.ids /usr/share/pci.ids
adapters|ip -o link | cut -d' ' -f2,3 | grep -v '^up0'; cat /sys/class/net/eth*/address; ip -o -4 addr | cut -d' ' -f2-; ip route show default
mtu range|ip link set dev eth0 mtu 65535; echo $?; ip link set dev eth0 mtu 68; echo $?; ip link set dev eth0 mtu 67 2>/dev/null; echo $?; ip link set dev eth0 mtu 1500
router|ping -c1 -W2 192.0.2.1 >/dev/null; echo $?; traceroute -4 -n -q1 -w2 203.0.113.1 | awk 'NR > 1 { print $1, $2 }'
bridge|ip -o -4 addr show dev xenbr0 | cut -d' ' -f2-; ip -o link show master xenbr0 | cut -d' ' -f2
proc/net|readlink /proc/net; cat /proc/net/vlan/config; grep -c '^ *up0:' /proc/net/dev; ip netns exec router grep -c '^ *lan0:' /proc/net/dev; head -1 /proc/net/tcp | grep -c local_address
pci sysfs|cd /sys/bus/pci/devices; cat vendor device; echo 0x10fb >/run/testbed/pci/device; cat device; echo 0x1528 >/run/testbed/pci/new; mv /run/testbed/pci/new /run/testbed/pci/device; cat device; echo 0x1572 >/run/testbed/pci/device; ls -d 0000:* >/dev/null; echo $?
bypass|ls -L /sys/class/net/*/bypass; n=$(cat /sys/class/net/eth0/statistics/tx_packets); ping -c1 -W2 192.0.2.1 >/dev/null; [ "$(cat /sys/class/net/eth0/statistics/tx_packets)" -gt "$n" ]; echo $?; mv /run/testbed/bypass/eth0 /run/testbed/off && ls -L /sys/class/net/*/bypass; mv /run/testbed/off /run/testbed/bypass/eth0
vconfig|vconfig add eth0 5; ip -o link show dev eth0.5 | cut -d' ' -f2; grep -e VID -e Device /proc/net/vlan/eth0.5; cat /proc/net/vlan/config; vconfig add eth0 5; echo $?; vconfig add eth999 5; echo $?; vconfig rem eth0.5; ip link show dev eth0.5; ls /proc/net/vlan; cat /proc/net/vlan/config
runlevel|runlevel; echo '3 5' >/run/testbed/runlevel; runlevel; echo 'N 3' >/run/testbed/runlevel
service|service NetworkManager status; echo $?; echo running >/run/testbed/networkmanager; service NetworkManager status; echo $?; echo stopped >/run/testbed/networkmanager
ifup and ifdown|ifdown eth2; ip -o link show dev eth2 | cut -d' ' -f3; ifup eth2; ip -o link show dev eth2 | cut -d' ' -f3; ifup eth999; echo $?; touch /run/testbed/fail-ifup; ifup eth2; echo $?; rm /run/testbed/fail-ifup
dhcpcd|dhcpcd eth1; echo $?; kill "$(cat /var/run/dhcpcd-eth1.pid)"; echo $?; rm /var/run/dhcpcd-eth1.pid
syslog|logger -u /dev/log -t linnet selftest; timeout 2 tail -n +1 -f /run/testbed/syslog | grep -m1 -o 'linnet: selftest$'
stand-ins logged|cat /run/testbed/calls.log
EOF
}

actual=$(probes | while IFS='|' read -r name commands; do
  echo "== $name"
  bash -c "$commands" </dev/null 2>&1
done)
if [ "${LINNET_REGENERATE:-}" = 1 ]; then
  printf '%s\n' "$actual" >"$expected"
  exit 0
fi
diff -u "$expected" - <<<"$actual" || { echo "selftest: the simulated host differs from $expected" >&2; exit 1; }
echo "selftest: the simulated host is as $expected says"
