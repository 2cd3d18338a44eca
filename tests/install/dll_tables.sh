#!/bin/sh
# dll_tables.sh OBJDUMP DEFINITION LIBRARY FILE...
#   The library exports just what its module definition file lists. It and the other files import nothing but what comes
#   with Windows or with this project.
set -eu
objdump=$1 definition=$2 library=$3
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sed -n 's/^  \([^ ]*\).*/\1/p' "$definition" | LC_ALL=C sort >"$work/listed"
"$objdump" -p "$library" | sed -n '/Ordinal\/Name Pointer/,/^$/s/^\t\[ *[0-9]*\] //p' | LC_ALL=C sort >"$work/exported"
diff -u "$work/listed" "$work/exported" || {
  echo "$library exports other names (- missing, + new) than $definition has."
  exit 1
}

faults=0
for file; do
  "$objdump" -p "$file" | sed -n 's/^\tDLL Name: //p' >"$work/imported"
  grep -q . "$work/imported" || { echo "$file: nothing is imported?"; faults=1; }
  if grep -vixE '(KERNEL32|msvcrt|SHELL32|corvid|corvidnum)\.dll' "$work/imported"; then
    echo "$file needs these; nothing ships them."
    faults=1
  fi
done
exit $faults
