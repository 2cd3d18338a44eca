#pragma once

// The dense kernels of the distribution, as the matrix classes call them. Arguments are tested here, in the
// kernel's own order and with its parameter numbers: not every kernel of every distribution reports and
// returns. On a fault the kernel is not called. Arrays are column-major; one right-hand side.

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

/// `info` of an object that lacks an array; below all parameter numbers.
constexpr int kNoMemory = -100;

/// Leading dimension of an array of `rows` rows, which may be none.
inline int leading_dimension(int rows) { return std::max(1, rows); }

/// Rows of a band with room for the fill-in of its factors. Wide: the sizes are the host's.
inline std::int64_t band_rows(int kl, int ku) { return 2 * std::int64_t{kl} + ku + 1; }

/// Reports an illegal parameter and returns the `info` that stands for it.
inline int refuse(const char* kernel, int parameter) {
  xerbla(kernel, &parameter);
  return -parameter;
}

/// x := inverse(A) x with the LU factors of dgetrf_tol. @return info
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

/// Unblocked LU of a square band. @return info
inline int factor_band(int n, int kl, int ku, double* band, int ldab, int* pivots) {
  if (n < 0) return refuse("DGBTF2", 1);
  if (kl < 0) return refuse("DGBTF2", 3);
  if (ku < 0) return refuse("DGBTF2", 4);
  if (ldab < band_rows(kl, ku)) return refuse("DGBTF2", 6);
  int info = 0;
  dgbtf2_(&n, &n, &kl, &ku, band, &ldab, pivots, &info);
  return info;
}

/// x := inverse(A) x with the factors of factor_band. @return info
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

/// y := y - A x, A rows x columns without gaps. Nothing to do if there are no rows or no columns.
inline void subtract_product(int rows, int columns, const double* a, const double* x, double* y) {
  if (rows <= 0 || columns <= 0) return;
  const int one = 1;
  const double plus_one = 1.0, minus_one = -1.0;
  dgemm_("N", "N", &rows, &one, &columns, &minus_one, a, &rows, x, &columns, &plus_one, y, &rows, 1, 1);
}

// ---- Plain arrays. Counts may be 0 or less; an array is null if it could not be allocated.

/// Null clears `valid`.
template <class T>
T* allocate_or_clear(std::int64_t count, unsigned char& valid) {
  T* const array = allocate_array<T>(count);
  if (!array) valid = 0;
  return array;
}

/// Elements of an array with these extents; a negative extent has none. Beyond the largest number it is that
/// number: no array is so long.
inline std::int64_t product(std::int64_t a, std::int64_t b) {
  std::int64_t count = 0;
  if (a <= 0 || b <= 0) return 0;
  return __builtin_mul_overflow(a, b, &count) ? std::numeric_limits<std::int64_t>::max() : count;
}

inline void set_zero(double* array, std::int64_t count) {
  if (array && count > 0) std::memset(array, 0, static_cast<std::size_t>(count) * sizeof *array);
}

/// 1, 2, ..., count: the identity as row numbers.
inline void set_identity(int* rows, std::int64_t count) {
  if (!rows) return;
  for (std::int64_t i = 0; i < count; ++i) rows[i] = static_cast<int>(i + 1);
}

/// `from` and `to` may be the same.
inline void copy_vector(int count, const double* from, double* to) {
  if (count > 0) std::memmove(to, from, static_cast<std::size_t>(count) * sizeof *to);
}

/// Applies the interchanges 0 .. last of `pivots`, in this order, to the row numbers 1 .. count.
/// A pivot that names no row is not applied.
/// @param i      the place whose row is wanted
/// @param length places; those from `count` on hold -1
/// @return the row, 1-based; -1 without pivots or memory
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
