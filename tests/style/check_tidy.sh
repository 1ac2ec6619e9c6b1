#!/usr/bin/env bash
# The library's and linnet's sources pass .clang-tidy with no finding.
#   check_tidy.sh SOURCE_DIR BUILD_DIR (configured with compile commands)
set -uo pipefail
source=$1 build=$2
command -v clang-tidy >/dev/null || { echo "clang-tidy is not installed; skipped"; exit 77; }
[ -f "$build/compile_commands.json" ] || { echo "no compile_commands.json in $build"; exit 1; }
mkdir -p "$build/tidy-tmp" && export TMPDIR=$(cd "$build/tidy-tmp" && pwd)
cd "$source"
files=$(git ls-files 'src/*.cpp' 'cli/*.cpp' 2>/dev/null | grep -v '^src/inventory/card_table\.cpp$')
[ -n "$files" ] || files=$(find src cli -name '*.cpp' | grep -v 'src/inventory/card_table\.cpp$')
report=$(echo "$files" | xargs -P "$(nproc)" -n 4 clang-tidy -p "$build" --quiet 2>&1)
findings=$(grep -E '(warning|error): ' <<<"$report" | grep -v 'errors\? generated' || true)
[ -z "$findings" ] || { echo "$findings"; echo "0 passed, $(wc -l <<<"$findings") failed"; exit 1; }
echo "1 passed, 0 failed"
