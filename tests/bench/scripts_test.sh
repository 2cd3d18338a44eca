#!/usr/bin/env bash
# Tests what the commands that measure say of wrong arguments. Nothing is built or measured.
set -euo pipefail
cd "$(dirname "$0")/../.."
export CDPATH=$PWD # with it, cd prints where it goes

# expect_refusal TEXT COMMAND...: the command must fail, and say so with this text.
expect_refusal() {
  local text=$1 said
  shift
  if said=$("$@" 2>&1); then
    echo "succeeds: $*"
    exit 1
  fi
  [[ $said == *"$text"* ]] || {
    echo "$*: does not say \"$text\" but: $said"
    exit 1
  }
}

expect_refusal 'unknown option --fast' scripts/bench --fast
expect_refusal '--quick and --all exclude each other' scripts/bench --quick --all
expect_refusal '--against comes first' scripts/bench --anyway --against HEAD
expect_refusal 'usage: bench_against COMMIT' scripts/bench --against
expect_refusal 'this is no pattern: [' scripts/bench --against HEAD '['
for command in bench bench_against; do
  [[ $("scripts/$command" --help) == *"scripts/$command"*COMMIT* ]]
done

# A second run must not disturb the first.
mkdir -p build
exec {lock}>build/bench.lock
flock --nonblock "$lock" || exit 0 # one is measuring
expect_refusal 'it runs already' scripts/bench --quick
