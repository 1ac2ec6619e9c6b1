#!/usr/bin/env bash
# scripts/gen-card-table on a small pci.ids: which device lines become rows,
# their order, texts and escaping, and the failure when a vendor has too few.
set -euo pipefail
gen=$1 work=$2
mkdir -p "$work"
ids=$work/pci.ids out=$work/table.cpp
rm -f "$out" "$work/few.cpp"
long=$(printf "%0230d" 0)

{
  printf '# Comment line\n#\tVersion: 2099.01.01\n\n'
  printf '0001  Other Vendor\n\t1100  OV1100 Gigabit Ethernet Controller\n'
  printf 'abcd  Test Vendor, Inc.\n'
  printf '\t0100  TV0100 Gigabit Ethernet Controller\n\t03e7  TV0999 Gigabit Ethernet Controller\n'
  for ((k = 129; k >= 0; k--)); do
    printf '\t%04x  TV%d Gigabit Network Connection\n' $((0x2000 + k)) $((1000 + k))
    printf '\t\tabcd %04x  Subsystem Gigabit Ethernet\n' $((0x1000 + k))
  done
  printf '\t1ff0  TV Wireless Gigabit Ethernet\n\t1ff1  TV Ethernet Virtual Function\n'
  printf '\t1ff2  TV 10GbE VF\n\t1ff3  TV Audio Controller\n'
  printf "\t1ffe  LONG1234 Gigabit Ethernet %s\n" "$long"
  printf '\t1fff  Quad "Quote" \\Back? XE810-C Gigabit Ethernet\n'
  printf '\t03e8  PRO/100 Network Connection\n'
  printf 'abce  Next Vendor\n\t1001  NV1001 Gigabit Ethernet Controller\n'
  printf 'C 02  Network controller\n\t00  Ethernet controller\n'
} >"$ids"

fail() { echo "generator_test: $*" >&2; exit 1; }

"$gen" "$ids" ABCD "$out" || fail "the generator failed on a vendor with 133 models"
rows=$(grep -E '^    \{' "$out")
[ "$(wc -l <<<"$rows")" -eq 127 ] || fail "expected 126 rows and the end row"
[ "$(sed -n '1p' <<<"$rows")" = '    {0x03e8, "Test PRO/100 Network Connection (PRO/100 family)"},' ] ||
  fail "first row: $(sed -n '1p' <<<"$rows")"
[ "$(sed -n '3p' <<<"$rows")" = '    {0x1fff, "Test Quad \"Quote\" \\Back\? XE810-C Gigabit Ethernet (XE810 family)"},' ] ||
  fail "escaped row: $(sed -n '3p' <<<"$rows")"
long_row=$(sed -n '2p' <<<"$rows")
long_text=${long_row#*\"}
long_text=${long_text%\"*}
[ "${#long_text}" -lt 200 ] && [[ $long_text == "Test LONG1234 Gigabit Ethernet 000"*" (LONG1234 family)" ]] ||
  fail "long row: $long_row"
[ "$(sed -n '126p' <<<"$rows")" = '    {0x207a, "Test TV1122 Gigabit Network Connection (TV1122 family)"},' ] ||
  fail "last model row: $(sed -n '126p' <<<"$rows")"
[ "$(sed -n '127p' <<<"$rows")" = '    {-1, nullptr},' ] || fail "no end row"
listed=$(sed -n 's/^    {0x\([0-9a-f]*\),.*/\1/p' <<<"$rows")
[ "$listed" = "$(sort <<<"$listed")" ] || fail "rows are not in device ID order"
grep -Fxq 'const unsigned int kAdapterVendorId = 0xabcd;' "$out" || fail "vendor constant"
grep -q '^// Source: .*pci.ids, pci.ids version 2099.01.01$' "$out" || fail "pci.ids version not recorded"

if "$gen" "$ids" abce "$work/few.cpp" 2>"$work/few.err"; then fail "a vendor with one model was accepted"; fi
[ ! -e "$work/few.cpp" ] || fail "a failed run left an output file"
grep -q 'needs 126' "$work/few.err" || fail "no reason given: $(cat "$work/few.err")"
echo "generator_test: passed"
