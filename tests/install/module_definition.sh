#!/bin/sh
# module_definition.sh names CXXFILT LIST DEFINITION
#   The module definition file, which decides what the DLL exports, has just the names of the list of exported symbols.
# module_definition.sh check|update CXXFILT LIST DEFINITION NM ARCHIVE
#   check: it has all symbols of these names that the archive of the library's objects has. update: makes it anew.
set -eu
mode=$1 filt=$2 list=$3 definition=$4

# On Linux a 64-bit integer is a long, on Windows a long long; the list has the names of Linux.
demangle() { "$filt" | sed -e 's/long long/long/g'; }

# The symbols of the archive whose names are in the list, as lines of a module definition file.
wanted() {
  "$1" -g --defined-only -P "$2" | awk 'NF >= 2 { print $1, $2 }' | LC_ALL=C sort -u >"$work/symbols"
  cut -d ' ' -f 1 "$work/symbols" | demangle >"$work/names"
  paste -d '\t' "$work/names" "$work/symbols" | awk -F '\t' -v list="$list" '
    BEGIN { while ((getline line < list) > 0) listed[substr(line, 3)] }
    $1 in listed { split($2, symbol, " "); print "  " symbol[1] (symbol[2] == "T" ? "" : " DATA") }'
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
case $mode in
  names)
    cut -c 3- "$list" | LC_ALL=C sort -u >"$work/listed"
    sed -n 's/^  \([^ ]*\).*/\1/p' "$definition" | demangle | LC_ALL=C sort -u | diff -u "$work/listed" - && exit
    echo "$definition exports other names (- missing, + new) than the library on Linux."
    exit 1
    ;;
  check) wanted "$5" "$6" >"$work/new" && sed -n '/^  /p' "$definition" | diff -u - "$work/new" ;;
  update)
    {
      echo '; What corvidnum.dll exports. tests/install/module_definition.sh makes this file from the list of exported symbols.'
      echo 'LIBRARY corvidnum.dll'
      echo 'EXPORTS'
      wanted "$5" "$6"
    } >"$work/new" && cp "$work/new" "$definition"
    ;;
esac
