#!/usr/bin/env bash
# The application links by symbol name: the dynamic symbol tables of the two
# libraries must hold exactly the expected names, and the soname must be the
# one applications were linked against.
set -euo pipefail
library=$1 logger=$2 expected=$3

exported() {
  nm -D --defined-only -C "$1" | sed -E 's/^[0-9a-f]+ //' | sort -u
}

status=0
actual=$(exported "$library")
if ! diff -u <(grep -v '^#' "$expected" | sed '/^$/d' | sort -u) <(echo "$actual"); then
  echo "check_exports: the exported set of $library differs (- expected, + actual)" >&2
  status=1
fi

if ! exported "$logger" | grep -qxF 'T MxLogger::MarlixLogMsg(ModName, LogType, char const*, ...)'; then
  echo "check_exports: $logger does not export MxLogger::MarlixLogMsg" >&2
  status=1
fi

soname=$(readelf -d "$library" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
if [ "$soname" != libmxlinnet.so.13 ]; then
  echo "check_exports: soname is '$soname', expected libmxlinnet.so.13" >&2
  status=1
fi
if ! readelf -d "$library" | grep -q 'libmxlogger.so'; then
  echo "check_exports: $library does not depend on the logging library" >&2
  status=1
fi
[ "$status" -eq 0 ] && echo "check_exports: $(echo "$actual" | wc -l) symbols as expected"
exit "$status"
