#!/bin/sh
# programs.sh PREFIX: the installed programs find the libraries and their cases, and each has a manual page with all
# of the options that it knows.
set -eu
prefix=$1
cases=$prefix/share/doc/corvidnum-programs/examples

"$prefix/bin/corvidnum-column" "$cases/column/cases/measured.toml" >/dev/null
"$prefix/bin/corvidnum-recycle" "$cases/recycle/cases/purge-loop.toml" >/dev/null
"$prefix/bin/corvidnum-solve" "$cases/solve/matrices/recycle.mtx" >/dev/null

# options COMMAND...: the long options in the first column of the help.
options() { "$@" --help | sed -n 's/^  \(-[^ ]*\).*/\1/p' | grep -o -e '--[a-z0-9-]*'; }

# has_options PAGE COMMAND...: the page has all options of the command, which has some.
has_options() {
  text=$(gzip -dc "$prefix/share/man/man1/$1.gz" | sed 's/\\-/-/g')
  shift
  known=$(options "$@")
  test -n "$known"
  for option in $known; do
    printf '%s\n' "$text" | grep -qF -e "\fB$option" -e ",$option" || {
      echo "$* $option is missing in the manual page"
      exit 1
    }
  done
}
has_options corvidnum-column.1 "$prefix/bin/corvidnum-column"
has_options corvidnum-column.1 "$prefix/bin/corvidnum-column" fit
has_options corvidnum-recycle.1 "$prefix/bin/corvidnum-recycle"
has_options corvidnum-solve.1 "$prefix/bin/corvidnum-solve"

command -v groff >/dev/null || exit 0
for page in "$prefix"/share/man/man*/*.gz; do
  warnings=$(gzip -dc "$page" | groff -man -ww -z -Tutf8 2>&1)
  [ -z "$warnings" ] || {
    echo "$page: $warnings"
    exit 1
  }
done
