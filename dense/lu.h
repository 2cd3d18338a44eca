#pragma once

// LU factorisation with partial pivoting and an absolute pivot limit. Every argument is passed by address;
// arrays are column-major.

namespace corvidnum {

/// The magnitude that a pivot must exceed. It is absolute and does not scale with the matrix.
constexpr double kPivotLimit = 1e-8;

/// Factorises A = P L U in place by right-looking Gaussian elimination with partial pivoting; L has a unit
/// diagonal.
/// @param m, n number of rows and columns
/// @param a    [lda x n] in: the matrix; out: the factors
/// @param lda  leading dimension, at least max(1, m)
/// @param ipiv out: [min(m, n)] the row, 1-based, of each column's element of largest magnitude
/// @param info out: 0; -i if argument i is illegal; i > 0 if column i is the first whose pivot is at most
///             `tol` in magnitude or NaN. For such a column there is no interchange, although ipiv names a
///             row, and no scaling; the factorisation goes on with the next column.
/// @param tol  the pivot limit
/// @return 0
/// Source: outer-product Gaussian elimination, Golub and Van Loan, Matrix Computations, 4th ed., section 3.4.
int dgetf2_tol(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info,
               const double* tol);

/// Factorises as dgetf2_tol does, with the pivot limit kPivotLimit.
int dgetrf_tol(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);

}  // namespace corvidnum
