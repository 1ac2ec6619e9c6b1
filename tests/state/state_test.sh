#!/usr/bin/env bash
# linnet apply inside the simulated host, one case per state file in CASES:
#   state_test.sh LINNET FAMILY CASES
# NAME.yml with NAME.plan (the plan the dry run must print) is applied: the
# dry run changes nothing; a failure made to happen at each step leaves the
# files, the links, addresses and routes exactly as before; the apply shows
# the same file changes as the dry run, applying it again (and applying what
# `linnet state` prints) changes nothing, and `linnet rollback` restores the
# host. NAME.yml with NAME.error must be refused with that message.
# LINNET_REGENERATE=1 rewrites the .plan and .error files.
set -uo pipefail
[ -n "${LINNET_TESTBED:-}" ] || { echo "runs only inside scripts/testbed"; exit 77; }
read -ra linnet <<<"${LINNET_TEST_LAUNCHER:-}"
linnet+=("$1")
cases=$3
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

host() {  # what an apply may change: state, links, addresses, routes, files with mode and owner
  "${linnet[@]}" state || echo "state exits $?"
  ip -o link | sed 's/ qlen [0-9]*//'; ip -o -4 addr; ip route
  find /etc/sysconfig /etc/resolv.conf -type f -printf '%p %m %U %G ' -exec md5sum {} \; | sort
}
expect() {  # expect FILE ACTUAL DESCRIPTION
  [ -n "${LINNET_REGENERATE:-}" ] && printf '%s\n' "$2" >"$1"
  [ "$2" = "$(cat "$1")" ] || fail "$3: expected $(cat "$1"), got: $2"
}
same_host() { [ "$(host)" = "$before" ] || fail "$1: the host changed: $(diff <(echo "$before") <(host))"; }
changes() { sed -n '/^--- /,/^[a-z]/p' | grep -v '^[a-z]'; }

for state in "$cases"/*.yml; do
  name=$(basename "$state" .yml)
  before=$(host)
  if [ -f "$cases/$name.error" ]; then
    out=$("${linnet[@]}" apply "$state" 2>&1)
    status=$?
    expect "$cases/$name.error" "$status ${out//$cases\//}" "$name"
    same_host "$name refused"
    continue
  fi
  dry=$("${linnet[@]}" apply --dry-run "$state" 2>&1) || fail "$name: dry run exits $?"
  expect "$cases/$name.plan" "$(grep -E '^  [0-9]+\. |^nothing' <<<"$dry")" "$name plan"
  same_host "$name dry run"
  steps=$(grep -cE '^  [0-9]+\. ' <<<"$dry")
  for ((step = 1; step <= steps; step++)); do
    LINNET_FAIL_AT_STEP=$step "${linnet[@]}" apply "$state" >/dev/null 2>&1 && fail "$name: step $step made to fail, yet exit 0"
    same_host "$name failing at step $step"
  done
  out=$("${linnet[@]}" apply --no-commit --timeout 600 "$state" 2>/dev/null) || fail "$name: apply exits $?"
  [ "$(changes <<<"$out")" = "$(changes <<<"$dry")" ] || fail "$name: the apply changed other files than the dry run showed"
  grep -q '^nothing to change' <("${linnet[@]}" apply "$state" 2>&1) || fail "$name: a second apply is not idempotent"
  grep -q '^nothing to change' <("${linnet[@]}" state | "${linnet[@]}" apply - 2>&1) || fail "$name: linnet state applied again changes something"
  [ "$steps" -eq 0 ] || "${linnet[@]}" rollback >/dev/null || fail "$name: rollback exits $?"
  same_host "$name rolled back"
done

# The timeout rolls back by itself; a commit keeps the change and ends the checkpoint.
state=$cases/multi-step.yml
before=$(host)
"${linnet[@]}" apply --no-commit --timeout 2 "$state" >/dev/null 2>&1 || fail "timeout: apply exits $?"
grep -q 'uncommitted change is pending' <("${linnet[@]}" apply "$cases/reorder.yml" 2>&1) || fail "timeout: a second change was not refused"
for _ in $(seq 40); do [ "$(host)" = "$before" ] && break; sleep 0.25; done
same_host "timeout"
"${linnet[@]}" apply --no-commit --timeout 2 "$state" >/dev/null 2>&1 && "${linnet[@]}" commit >/dev/null || fail "commit"
sleep 3
[ "$(host)" != "$before" ] && [ ! -e /run/linnet/checkpoint ] || fail "commit: the change was not kept"
grep -q 'no uncommitted change' <("${linnet[@]}" rollback 2>&1) || fail "rollback after commit"

echo "$((failures == 0 ? 1 : 0)) passed, $failures failed"
[ "$failures" -eq 0 ]
