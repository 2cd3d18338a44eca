#!/usr/bin/env bash
# scripts_step.sh SCRIPTS: the function `step` of scripts/lib.sh fails with the first command of a function that fails,
# and not only with its last one.
set -uo pipefail
scripts=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# said COMMAND: what a script says that makes a step of a function with this command in a loop.
said() {
  # shellcheck disable=SC2016 # for the inner shell
  bash -c 'set -euo pipefail; . "$1/lib.sh"; logs=$2
    work() { for word in one two; do eval "$3"; done; echo finished; }
    step test work x x "$3"; echo "goes on"' sh "$scripts" "$work" "$1" 2>&1
}

[ "$(said true)" = "goes on" ] || { echo "a step that succeeds does not"; exit 1; }
grep -qx finished "$work/test.log" || exit 1
out=$(said false) && { echo "a step goes on behind a command that fails: $out"; exit 1; }
case $out in *"failed: work"*) ;; *) echo "nothing tells which step failed: $out"; exit 1 ;; esac
! grep -qx finished "$work/test.log"
