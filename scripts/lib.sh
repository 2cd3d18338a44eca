# shellcheck shell=bash
# Shared by the commands in this folder, which source it under `set -e`.

unset CDPATH # with it, cd prints where it goes
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root" || exit
# shellcheck disable=SC2034 # for those that source this file
library=(accel dense frame reorder sparse tables util) # the folders of the library
logs=build/logs # from the root, where every command runs
mkdir -p "$logs"
exec </dev/null # nothing here ever waits for an answer

say() { printf '== %s\n' "$*"; }

fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# print_help: prints the comment at the head of the command.
print_help() { awk 'NR > 1 { if (!sub(/^# ?/, "")) exit; print }' "$0"; }

# lock FILE: refuses to go on while another command holds the lock. It ends with this command.
lock() {
  exec {lock_of_command}>"$1"
  flock --nonblock "$lock_of_command" || fail "it runs already (the lock: $1)"
}

# step NAME COMMAND...: runs quietly; if the command fails, the end of its output says why.
step() {
  local log=$logs/$1.log status
  shift
  # In a condition, the shell would go on behind a command that fails within a function.
  set +e
  (
    set -e
    "$@"
  ) >"$log" 2>&1
  status=$?
  set -e
  [ "$status" -ne 0 ] || return 0
  tail -n 60 "$log" >&2
  fail "failed: $* (all of its output: $log)"
}

# folder_of PACKAGE FILE: where a package keeps a library, be it the system's default one or not.
folder_of() { dirname "$(dpkg-query -L "$1" | grep "/$2\$")"; }

# build PRESET [TARGET...]: brings the targets up to date, or all that the preset has, and tells each quarter of the
# steps, because the whole can take minutes.
build() {
  local preset=$1 log=$logs/build-$1.log
  shift
  say "building ${*:-everything} in build/$preset"
  step "configure-$preset" cmake --preset "$preset"
  cmake --build --preset "$preset" ${1:+--target "$@"} 2>&1 | tee "$log" | told_by_quarters && return
  tail -n 60 "$log" >&2
  fail "failed: cmake --build --preset $preset (all of its output: $log)"
}

# told_by_quarters: reads what ninja says, "[12/193] ...", and tells when a quarter of many steps is done.
told_by_quarters() {
  awk -F '[][/]' '$1 == "" && $3 >= 40 && $2 + 0 > 0 && int(4 * $2 / $3) > told {
    told = int(4 * $2 / $3); printf "   %d of %d\n", $2, $3; fflush() }'
}

# run_tests PRESET [OPTION...]: prints what fails, and the closing lines. The options are ctest's.
run_tests() {
  say "testing build/$1${LD_LIBRARY_PATH:+ with $LD_LIBRARY_PATH}"
  rm -rf "build/$1/profiles" # where an instrumented build counts which lines run
  ctest --preset "$1" --parallel "$(nproc)" --timeout 300 --no-tests=error "${@:2}" |
    grep -vE '^ +Start +[0-9]+: |\.\. +Passed +[0-9.]+ sec$' ||
    fail "tests failed; for more: ctest --preset $1 --rerun-failed"
}
