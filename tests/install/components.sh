#!/bin/sh
# components.sh CMAKE BUILD PREFIX WORK: the four components together are all that is installed in PREFIX.
set -eu
cmake=$1 build=$2 prefix=$3 work=$4
rm -rf "$work"
for component in runtime development programs documentation; do
  "$cmake" --install "$build" --component $component --prefix "$work"
done
# CMake writes the relocatable files of each component alike, wherever they go.
diff -r --no-dereference "$prefix" "$work"
