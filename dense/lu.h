#pragma once

// LU with row interchanges and an absolute pivot limit. Every argument goes by address; arrays are
// column-major.

namespace corvidnum {

/// A pivot has to be above this in magnitude. It does not scale with the matrix.
constexpr double kPivotLimit = 1e-8;

/// Right-looking LU with partial pivoting, A = P L U in place; L has a unit diagonal.
/// @param m, n rows and columns
/// @param a    [lda x n] in: the matrix; out: the factors
/// @param lda  leading dimension, at least max(1, m)
/// @param ipiv out: [min(m, n)] the row, 1-based, that was found as pivot of each column
/// @param info out: 0; -i if argument i is illegal; i > 0 if column i is the first whose pivot is not above
///             `tol` or is NaN. Such a column is neither swapped, though its ipiv names a row, nor scaled,
///             and the factorisation goes on behind it.
/// @param tol  the pivot limit
/// @return 0
/// Source: the outer-product form of Gaussian elimination, in the layout of LAPACK.
int dgetf2_tol(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info,
               const double* tol);

/// dgetf2_tol with the pivot limit kPivotLimit.
int dgetrf_tol(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);

}  // namespace corvidnum
