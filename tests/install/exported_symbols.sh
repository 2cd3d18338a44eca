#!/bin/sh
# exported_symbols.sh check|update NM LIBRARY LIST
# check: the library exports just what the list says, each symbol under the one version node. update: makes the list
# anew, to be reviewed.
set -eu
mode=$1 nm=$2 library=$3 list=$4

# Kind and demangled name, and a remark if the symbol has no version, or another one; constructors and destructors
# have several symbols of one name. The version node itself is an absolute symbol.
exported() {
  "$nm" -D --defined-only --demangle "$library" |
    sed -e 's/^[0-9a-f]* //' -e '/^A CORVIDNUM_1\(@@CORVIDNUM_1\)\?$/d' -e 's/@@CORVIDNUM_1$//' -e t \
      -e 's/$/ without the version node/' | LC_ALL=C sort -u
}

case $mode in
  check)
    exported | diff -u "$list" - && exit
    echo "Exported symbols differ (- missing, + new)."
    echo "If that is intended, build the target update_exported_symbols and review the list."
    exit 1
    ;;
  update) exported >"$list" ;;
esac
