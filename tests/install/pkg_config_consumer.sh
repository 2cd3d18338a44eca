#!/bin/sh
# pkg_config_consumer.sh SOURCES LIBDIR WORK CC CXX
# Builds the consumers of the installed tree with compilers and pkg-config alone, and runs them.
set -eu
sources=$1 libdir=$2 work=$3 cc=$4 cxx=$5
export PKG_CONFIG_PATH="$libdir/pkgconfig" LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
mkdir -p "$work"

# build_and_run NAME PACKAGES COMPILER...
build_and_run() {
  program=$work/$1 packages=$2
  shift 2
  # shellcheck disable=SC2046,SC2086 # lists of words
  "$@" -o "$program" $(pkg-config --cflags --libs $packages)
  "$program"
}
module=$(pkg-config --variable=includedir corvidnum)/corvidnum.f90
version=$(pkg-config --modversion corvidnum)
build_and_run version corvidnum "$cc" -DPACKAGE_VERSION="\"$version\"" "$sources/version.c"
build_and_run numeric_c corvidnum "$cc" "$sources/numeric.c"
build_and_run numeric_fortran corvidnum gfortran "$sources/numeric.f90"
build_and_run sparse_c corvidnum "$cc" "$sources/sparse.c"
build_and_run sparse_fortran corvidnum gfortran -J "$work" "$module" "$sources/sparse.f90"
build_and_run sparse_solver_c corvidnum "$cc" "$sources/sparse_solver.c"
build_and_run sparse_solver_fortran corvidnum gfortran -J "$work" "$module" "$sources/sparse_solver.f90"
build_and_run multifrontal_c corvidnum "$cc" "$sources/multifrontal.c"
build_and_run multifrontal_fortran corvidnum gfortran -J "$work" "$module" "$sources/multifrontal.f90"
build_and_run fixed_point_c corvidnum "$cc" "$sources/fixed_point.c"
build_and_run fixed_point_fortran corvidnum gfortran -J "$work" "$module" "$sources/fixed_point.f90"
build_and_run reorder_c corvidnum "$cc" "$sources/reorder.c"
build_and_run reorder_fortran corvidnum gfortran -J "$work" "$module" "$sources/reorder.f90"
build_and_run matrices corvidnum "$cxx" -std=c++17 "$sources/matrices.cpp"
build_and_run host "corvidnum corvid" "$cxx" -std=c++17 "$sources/host.cpp"
