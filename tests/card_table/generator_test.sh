#!/usr/bin/env bash
# scripts/gen-card-table on a small pci.ids (sample.pci.ids): the table it
# writes (which device lines become rows, their order, texts and escaping)
# must be sample.expected, and a vendor with too few models must fail
# without leaving an output file.
set -uo pipefail
gen=$1 work=$2 here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$work" && rm -f "$work/table.cpp" "$work/few.cpp"
"$gen" "$here/sample.pci.ids" ABCD "$work/table.cpp" || { echo "the generator failed"; exit 1; }
diff -u "$here/sample.expected" <(sed -e 's|^// Source: .*/|// Source: |' -e '\|^//   scripts/gen-card-table|d' "$work/table.cpp") || exit 1
if "$gen" "$here/sample.pci.ids" abce "$work/few.cpp" 2>"$work/few.err"; then echo "a vendor with one model was accepted"; exit 1; fi
[ ! -e "$work/few.cpp" ] && grep -q 'needs 126' "$work/few.err" || { echo "few models: $(cat "$work/few.err")"; exit 1; }
echo "generator_test: passed"
