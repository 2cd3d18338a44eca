#!/bin/sh
# fortran_module.sh HEADERS LIBDIR SYMBOLS WORK CC
# The Fortran module of the installed tree says the same as the C headers beside it: every name has the same
# value, every length function the same results, every routine the same prototype; and no routine is missing.
# shellcheck disable=SC2086 # lists of words
set -eu
headers=$1 libdir=$2 symbols=$3 work=$4 cc=$5
export LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
module=$headers/corvidnum.f90
solver=$headers/sparse/corvidnum_sparse.h
fixed_point=$headers/accel/corvidnum_fixed_point.h
codes="$headers/sparse/ma48/ma48_codes.h $headers/sparse/ma38/ma38_codes.h $solver $fixed_point"
rm -rf "$work"
mkdir -p "$work"
cd "$work"

# A name that one side lacks does not compile there.
grep -Eowh '(MA[34]8|CORVIDNUM_SPARSE|CORVIDNUM_FIXED_POINT)_[A-Z0-9_]*' $codes "$module" | sort -u >names
test "$(wc -l <names)" -gt 100
calls="ma38_least_value_length(k) ma38_w_length(k)"
for arguments in 2,5 5,2 k,k 1,k; do
  for function in ma48_keep_length ma48_iw_length ma48_w_length ma38_least_index_length; do
    calls="$calls $function($arguments)"
  done
done
{
  echo '#include <limits.h>'
  echo '#include <stdio.h>'
  for header in $codes; do echo "#include \"$header\""; done
  echo 'int main(void) {'
  echo '  const int k = INT_MAX;'
  sed 's/.*/  printf("& %d\\n", (int)&);/' names
  printf '%s\n' $calls | sed 's/.*/  printf("& %lld\\n", (long long)&);/'
  cat <<'END'
  for (int status = -4; status < 8; ++status) {
    printf("%d %d\n", ma48_warned(&status, MA48_WARNING_RANK_DEFICIENT),
           ma38_warned(&status, MA38_WARNING_SINGULAR));
  }
}
END
} >values.c
{
  echo 'program values'
  echo '  use corvidnum'
  echo '  implicit none'
  echo '  integer, parameter :: k = huge(1)'
  echo '  integer :: i'
  sed "s/.*/  print '(a, 1x, i0)', '&', &/" names
  printf '%s\n' $calls | sed "s/.*/  print '(a, 1x, i0)', '&', &/"
  cat <<'END'
  do i = -4, 7
    print '(i0, 1x, i0)', merge(1, 0, ma48_warned([i], MA48_WARNING_RANK_DEFICIENT)), &
      merge(1, 0, ma38_warned([i], MA38_WARNING_SINGULAR))
  end do
end program
END
} >values.f90
"$cc" -std=c99 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -I"$headers" -o values_c values.c
gfortran -std=f2018 -Wall -Wextra -Werror -pedantic -o values_fortran "$module" values.f90 \
  -L"$libdir" -lcorvidnum
./values_c >values_c.txt
./values_fortran >values_fortran.txt
diff values_c.txt values_fortran.txt

# The compiler's own translation of the interfaces, which must agree with the headers.
gfortran -fc-prototypes -fsyntax-only "$module" >module.h
# A type(c_ptr) comes out as void *, and Fortran has no pointer to what is constant.
sed -e 's/void \*\(solver\|corvidnum_sparse_create\)/corvidnum_sparse *\1/' \
  -e 's/void \*\(corvidnum_sparse_[a-z_]* (\)/const char *\1/' \
  -e 's/void \*\(corvidnum_version (\)/const char *\1/' \
  -e 's/void \*\(name\|meaning\)/const char **\1/g' module.h >prototypes.h
sed 's/const corvidnum_sparse\*/corvidnum_sparse*/' "$solver" >solver.h
for header in corvidnum_version.h sparse/ma48/ma48_routines.h sparse/ma38/ma38_routines.h reorder/gpskca.h \
  frame/numeric_runtime.h accel/corvidnum_fixed_point.h solver.h prototypes.h; do
  echo "#include \"$header\""
done >prototypes.c
"$cc" -std=c99 -fsyntax-only -I"$headers" -I. prototypes.c

# xerbla_ is the hook of the dense kernels, which no host calls.
sed -n 's/^T \([a-z0-9_]*\)$/\1/p' "$symbols" | grep -v '^xerbla_$' >exported
sed -n 's/^[a-z].* \**\([a-z0-9_]*\) (.*/\1/p' prototypes.h | LC_ALL=C sort | diff exported -
