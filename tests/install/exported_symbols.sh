#!/bin/sh
# exported_symbols.sh check|update NM LIBRARY LIST
# check: the library exports just what the list says. update: makes the list anew, to be reviewed.
set -eu
mode=$1 nm=$2 library=$3 list=$4

# Kind and demangled name; constructors and destructors have several symbols of one name.
exported() { "$nm" -D --defined-only --demangle "$library" | sed 's/^[0-9a-f]* //' | LC_ALL=C sort -u; }

case $mode in
  check)
    exported | diff -u "$list" - && exit
    echo "Exported symbols differ (- missing, + new)."
    echo "If that is intended, build the target update_exported_symbols and review the list."
    exit 1
    ;;
  update) exported >"$list" ;;
esac
