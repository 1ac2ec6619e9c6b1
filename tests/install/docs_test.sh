#!/usr/bin/env bash
# The man page and the bash completion know every subcommand linnet has, the
# man page renders without a warning, and the completion offers adapters.
#   docs_test.sh LINNET SOURCE_DIR
set -uo pipefail
linnet=$1 source=$2
failures=0
subcommands=$("$linnet" --help | sed -n '/^Subcommands:/,$p' | awk 'NR > 1 && NF {print $1}')
[ -n "$subcommands" ] || { echo "no subcommands in linnet --help"; exit 1; }
for command in $subcommands; do
  grep -q "^\.BI\? \"\?$command\b\|^\.B $command$" "$source/doc/linnet.1" ||
    { echo "linnet.1 does not describe '$command'"; failures=$((failures + 1)); }
  grep -q "commands=.*\b$command\b" "$source/completion/linnet.bash" ||
    { echo "the completion does not offer '$command'"; failures=$((failures + 1)); }
  "$linnet" "$command" --help >/dev/null 2>&1 || { echo "linnet $command --help fails"; failures=$((failures + 1)); }
done
warnings=$(LC_ALL=C.UTF-8 groff -man -Tutf8 -ww -z "$source/doc/linnet.1" 2>&1)
[ -z "$warnings" ] || { echo "linnet.1: $warnings"; failures=$((failures + 1)); }
offered=$(bash -c "source '$source/completion/linnet.bash'; COMP_WORDS=(linnet show ''); COMP_CWORD=2; _linnet; printf '%s\n' \"\${COMPREPLY[@]}\"")
grep -qx lo <<<"$offered" || { echo "the completion offers no adapter names: $offered"; failures=$((failures + 1)); }
echo "$((failures == 0 ? 1 : 0)) passed, $failures failed"
[ "$failures" -eq 0 ]
