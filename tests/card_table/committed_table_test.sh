#!/usr/bin/env bash
# The committed adapter model table must be exactly what the generator makes
# from the installed pci.ids. Skipped (77) when the installed pci.ids is
# another version than the one the committed table records.
set -euo pipefail
gen=$1 pci_ids=$2 committed=$3 work=$4

if [ ! -r "$pci_ids" ]; then
  echo "committed_table_test: skipped: $pci_ids is not installed (Debian package pci.ids)"
  exit 77
fi
source_line=$(grep -m1 '^// Source: ' "$committed")
recorded_path=$(sed 's/^\/\/ Source: \(.*\), pci.ids version .*$/\1/' <<<"$source_line")
recorded=$(sed 's/^.*, pci.ids version //' <<<"$source_line")
installed=$(sed -n 's/^#[[:space:]]*Version:[[:space:]]*//p' "$pci_ids" | head -n1)
if [ "$recorded" != "$installed" ]; then
  echo "committed_table_test: skipped: the committed table comes from pci.ids version '$recorded'," \
       "$pci_ids is version '$installed'; to take the new version, run from the repository root:" \
       "$(grep -m1 '^//   scripts/gen-card-table ' "$committed" | sed 's|^//   ||')"
  exit 77
fi
vendor=$(sed -n 's/^const unsigned int kAdapterVendorId = 0x\([0-9a-f]*\);$/\1/p' "$committed")

# Same relative output name as the committed table, so the recorded command matches.
rm -rf "$work"
mkdir -p "$work/src/inventory"
(cd "$work" && "$gen" "$pci_ids" "$vendor" src/inventory/card_table.cpp)
regenerated=$work/src/inventory/card_table.cpp
if [ "$pci_ids" != "$recorded_path" ]; then
  sed -i "1,6s|$pci_ids|$recorded_path|" "$regenerated"
fi
if ! diff -u "$committed" "$regenerated"; then
  echo "committed_table_test: $committed differs from the table made from $pci_ids (- committed, + made)" >&2
  exit 1
fi
echo "committed_table_test: the committed table is the one made from pci.ids $installed"
