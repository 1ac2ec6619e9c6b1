#!/usr/bin/env bash
# Records the state of the real host that the testbed must never touch, and
# later compares the host against that record. Run it OUTSIDE the testbed:
#
#   host_unchanged.sh snapshot FILE   # before the suite
#   host_unchanged.sh compare FILE    # after it; exit 1 and a diff on change
#
# The record holds: the host name, interfaces and addresses (`ip -o link`,
# `ip -o addr`, lifetimes dropped: they count down on DHCP hosts), routes,
# named network namespaces, IPv4 forwarding and ICMP rate limit, the mount
# table, the entries of /tmp and /run, the names in /dev, the entries of
# /usr/sbin and /usr/share (where the testbed puts its stand-ins and pci.ids),
# and an md5 of every readable file under /etc. A listing holds the
# directories themselves: a file made and removed again still shows in its
# directory's time of change.
#
# HOST_UNCHANGED_IGNORE, when set, is an extended regular expression; record
# lines matching it are left out (for a machine whose own services write to
# /tmp or /run while the suite runs).
set -euo pipefail

listing() { { find "$@" -maxdepth 1 -printf '%M %u:%g %s %T@ %p\n' 2>/dev/null || true; } | sort -k5; }

host_state() {
  echo "== hostname" && hostname
  echo "== ip -o link" && ip -o link
  echo "== ip -o addr" && ip -o addr | sed -E 's/ +valid_lft [^ ]+ preferred_lft [^ ]+//'
  echo "== ip route" && ip route
  echo "== ip netns" && ip netns list
  echo "== sysctl" && sysctl net.ipv4.ip_forward net.ipv4.icmp_ratelimit
  echo "== mounts" && findmnt -rn -o TARGET,SOURCE,FSTYPE,OPTIONS | sort
  echo "== /tmp /run" && listing /tmp /run
  echo "== ls /dev" && ls -A /dev
  echo "== /usr" && listing /usr/sbin /usr/share
  echo "== md5 /etc"
  { find /etc -xdev -type f -readable -print0 2>/dev/null | sort -z | xargs -0 -r md5sum 2>/dev/null || true; }
}

filtered_state() { host_state | { grep -E -v -- "${HOST_UNCHANGED_IGNORE:-a^}" || true; }; }

case "${1:-}:$#" in
  snapshot:2) filtered_state >"$2" ;;
  compare:2)
    [ -r "$2" ] || { echo "$0: no snapshot at $2" >&2; exit 2; }
    if ! diff -u "$2" <(filtered_state) >&2; then
      echo "$0: the host changed since the snapshot $2 (diff above)" >&2
      exit 1
    fi
    echo "host unchanged since $2" ;;
  *) echo "usage: $0 snapshot|compare FILE" >&2; exit 2 ;;
esac
