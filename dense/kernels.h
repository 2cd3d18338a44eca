#pragma once

// The LAPACK and BLAS kernels of the matrix classes, for one right-hand side, and helpers for their arrays.
// Arrays are column-major. Arguments are checked here, in LAPACK's order and with LAPACK's parameter numbers,
// because not every kernel of every distribution reports an illegal argument and returns. Here it is reported
// by xerbla, the kernel is not called, and `info` is minus the parameter's number. Otherwise `info` is
// LAPACK's: 0, or k > 0 if the pivot in column k is exactly 0.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include "frame/blas.h"
#include "frame/host_memory.h"
#include "frame/numeric_runtime.h"

namespace corvidnum {

/// The `info` of an object for which memory was refused. It is below the negative of every parameter number.
constexpr int kNoMemory = -100;

/// Returns the leading dimension of an array of `rows` rows: at least 1, as LAPACK requires.
inline int leading_dimension(int rows) { return std::max(1, rows); }

/// Returns the rows of LAPACK's band storage with room for the fill-in: kl above ku + kl + 1 diagonals. In 64
/// bits, because the host chooses kl and ku.
inline std::int64_t band_rows(int kl, int ku) { return 2 * std::int64_t{kl} + ku + 1; }

/// Reports an illegal parameter of a kernel and returns the `info` for it, -parameter.
inline int refuse(const char* kernel, int parameter) {
  xerbla(kernel, &parameter);
  return -parameter;
}

/// x := inverse(A) x with the LU factors of dgetrf_tol.
/// @return info
inline int solve_with_lu(int n, const double* a, int lda, const int* pivots, double* x, int ldb) {
  const int least = leading_dimension(n);
  if (n < 0) return refuse("DGETRS", 2);
  if (lda < least) return refuse("DGETRS", 5);
  if (ldb < least) return refuse("DGETRS", 8);
  const int one = 1;
  int info = 0;
  dgetrs_("N", &n, &one, a, &lda, pivots, x, &ldb, &info, 1);
  return info;
}

/// Factorises a square band matrix by the unblocked LU with partial pivoting.
/// @param band [ldab][n], ldab >= band_rows(kl, ku); in: the matrix in LAPACK's band storage; out: its
/// factors
/// @return info
inline int factor_band(int n, int kl, int ku, double* band, int ldab, int* pivots) {
  if (n < 0) return refuse("DGBTF2", 1);
  if (kl < 0) return refuse("DGBTF2", 3);
  if (ku < 0) return refuse("DGBTF2", 4);
  if (ldab < band_rows(kl, ku)) return refuse("DGBTF2", 6);
  int info = 0;
  dgbtf2_(&n, &n, &kl, &ku, band, &ldab, pivots, &info);
  return info;
}

/// x := inverse(A) x with the factors of factor_band.
/// @return info
inline int solve_with_band_lu(int n, int kl, int ku, const double* band, int ldab, const int* pivots,
                              double* x, int ldb) {
  if (n < 0) return refuse("DGBTRS", 2);
  if (kl < 0) return refuse("DGBTRS", 3);
  if (ku < 0) return refuse("DGBTRS", 4);
  if (ldab < band_rows(kl, ku)) return refuse("DGBTRS", 7);
  if (ldb < leading_dimension(n)) return refuse("DGBTRS", 10);
  const int one = 1;
  int info = 0;
  dgbtrs_("N", &n, &kl, &ku, &one, band, &ldab, pivots, x, &ldb, &info, 1);
  return info;
}

/// y := y - A x, where A is rows x columns with leading dimension `rows`. Does nothing if either is 0 or
/// less.
inline void subtract_product(int rows, int columns, const double* a, const double* x, double* y) {
  if (rows <= 0 || columns <= 0) return;
  const int one = 1;
  const double plus_one = 1.0, minus_one = -1.0;
  dgemm_("N", "N", &rows, &one, &columns, &minus_one, a, &rows, x, &columns, &plus_one, y, &rows, 1, 1);
}

// ---- Plain arrays. Counts may be 0 or less. An array is null if memory was refused; these functions accept
// it.

/// Allocates an array by allocate_array; sets `valid` to 0 if memory is refused.
template <class T>
T* allocate_or_clear(std::int64_t count, unsigned char& valid) {
  T* const array = allocate_array<T>(count);
  if (!array) valid = 0;
  return array;
}

/// Returns the number of elements of an a x b array, 0 if an extent is negative. A product that overflows
/// gives the largest number, which no allocation can serve.
inline std::int64_t product(std::int64_t a, std::int64_t b) {
  std::int64_t count = 0;
  if (a <= 0 || b <= 0) return 0;
  return __builtin_mul_overflow(a, b, &count) ? std::numeric_limits<std::int64_t>::max() : count;
}

/// Sets the first `count` elements to 0.
inline void set_zero(double* array, std::int64_t count) {
  if (array && count > 0) std::memset(array, 0, static_cast<std::size_t>(count) * sizeof *array);
}

/// Sets the array to 1, 2, ..., count, the identity permutation.
inline void set_identity(int* rows, std::int64_t count) {
  if (!rows) return;
  for (std::int64_t i = 0; i < count; ++i) rows[i] = static_cast<int>(i + 1);
}

/// to := from; the two may overlap.
inline void copy_vector(int count, const double* from, double* to) {
  if (count > 0) std::memmove(to, from, static_cast<std::size_t>(count) * sizeof *to);
}

/// Finds the row that row interchanges have brought to a place: applies interchange k = 0 .. last, of place k
/// with place pivots[k] - 1, to the row numbers 1 .. count in this order. An interchange with a place outside
/// 1 .. count is left out.
/// @param i      the place, from 0
/// @param length number of places; those from `count` on hold -1
/// @return the row, from 1; -1 if `pivots` is null or memory is refused
inline int row_at_place(int i, std::int64_t length, int count, const int* pivots, int last) {
  if (!pivots) return -1;
  int* const row = allocate_array<int>(length);
  if (!row) return -1;
  set_identity(row, count);
  for (std::int64_t place = count; place < length; ++place) row[place] = -1;
  for (int k = 0; k <= last; ++k) {
    if (pivots[k] >= 1 && pivots[k] <= count) std::swap(row[k], row[pivots[k] - 1]);
  }
  const int found = row[i];
  Corvid_delete(row);
  return found;
}

}  // namespace corvidnum
