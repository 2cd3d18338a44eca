#!/usr/bin/env bash
# scripts_windows_agree.sh SCRIPTS: what scripts/windows_agree takes for equal, and what not.
set -uo pipefail
scripts=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/a" "$work/b"
faults=0

# expect RESULT TEXT OTHER
expect() {
  printf '%b' "$2" >"$work/a/file"
  printf '%b' "$3" >"$work/b/file"
  local result=differ
  "$scripts/windows_agree" "$work/a" "$work/b" >/dev/null 2>&1 && result=agree
  [ $result = "$1" ] || { printf 'should %s:\n%b--\n%b' "$1" "$2" "$3"; faults=1; }
}

expect agree 'x 1.00000000001\n' 'x 1.0\r\n'
expect differ 'x 1.00001\n' 'x 1.0\n'
expect differ '12 passes\n' '13 passes\n'
expect differ 'one\n' 'one\ntwo\n'
expect agree 'in 3.2 ms, residual 1.1e-15\n' 'in 44.1 ms, residual 3.0e-12\n'
expect agree 'none 0.0e+00\n' 'none 2.2e-16\n'
expect differ 'residual 1.5e+03\n' 'residual 9.5e+08\n'
expect differ 'residual 1.1e-15\n' 'residual 1.1e-03\n'
# The sizes of a matrix are no numbers to measure its elements by.
matrix='%%MatrixMarket matrix array real general\n% one\n40000 1\n'
expect agree "${matrix}1.0\n1.0000000000001\n" "${matrix}1.0\n1.0\n"
expect differ "${matrix}1.0\n1.00001\n" "${matrix}1.0\n1.0\n"
expect differ "${matrix}1.0\n" '%%MatrixMarket matrix array real general\n% one\n40001 1\n1.0\n'
# Only the column of times is one.
table='how       ms   share\n'
expect agree "${table}none    3.25    0.25\n" "${table}none   13.75    0.25\n"
expect differ "${table}none    3.25    0.25\n" "${table}none    3.25    0.75\n"
exit $faults
