#!/usr/bin/env bash
# The linnet_state module as a playbook uses it, inside the simulated host:
#   ansible_test.sh LINNET FAMILY COLLECTION_DIR
# The playbooks check linnet's report; this script checks the host.
set -uo pipefail
[ -n "${LINNET_TESTBED:-}" ] || { echo "runs only inside scripts/testbed"; exit 77; }
command -v ansible-playbook >/dev/null || { echo "ansible-playbook is not installed; skipped"; exit 77; }
linnet=$1 family=$2
playbooks=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d /tmp/ansible.XXXXXX)
mkdir -p "$scratch/ansible_collections/mxlinnet" && ln -s "$3" "$scratch/ansible_collections/mxlinnet/linnet"
export HOME=$scratch ANSIBLE_COLLECTIONS_PATH=$scratch ANSIBLE_LOCAL_TEMP=$scratch/local ANSIBLE_REMOTE_TEMP=$scratch/remote \
  ANSIBLE_NOCOLOR=1 ANSIBLE_RETRY_FILES_ENABLED=0 PYTHONDONTWRITEBYTECODE=1 LC_ALL=C.UTF-8
config=/etc/sysconfig/network
[ "$family" = redhat ] && config+=-scripts
failures=0

fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
play() {  # play PLAYBOOK [ANSIBLE-PLAYBOOK OPTIONS...]
  ansible-playbook -i localhost, -c local -e linnet="$linnet" "${@:2}" "$playbooks/$1" >"$scratch/out" 2>&1 ||
    fail "$*:"$'\n'"$(sed 's/^/    /' "$scratch/out")"
}
host() { ip -o link show; ip -o -4 addr show; ip route show; grep -r '' /etc/sysconfig /etc/resolv.conf; }
unchanged_since() {  # unchanged_since SNAPSHOT WHAT
  [ "$(host)" = "$1" ] || fail "$2 changed the host:"$'\n'"$(diff <(echo "$1") <(host) | sed 's/^/    /')"
}

ansible-doc mxlinnet.linnet.linnet_state >"$scratch/out" 2>&1 || fail "ansible-doc:"$'\n'"$(cat "$scratch/out")"

before=$(host)
play change.yml -e expect=planned --check --diff
unchanged_since "$before" "check mode"

play change.yml -e expect=applied
[ "$(cat /sys/class/net/eth2/mtu)" = 9000 ] || fail "eth2's MTU is not 9000"
ip -o -4 addr show eth2 | grep -q ' 198\.18\.2\.60/24 ' || fail "198.18.2.60/24 is not on eth2"
grep -qE "^MTU='?9000'?$" "$config/ifcfg-eth2" || fail "ifcfg-eth2 has no MTU 9000"
grep -rqE "^IPADDR[0-9]*='?198\.18\.2\.60'?$" "$config" || fail "no ifcfg file has 198.18.2.60"

play change.yml -e expect=unchanged

before=$(host)
play fail.yml --check
play fail.yml
unchanged_since "$before" "the failed apply or its dry run"

echo "$((failures == 0 ? 1 : 0)) passed, $failures failed"
[ "$failures" -eq 0 ]
