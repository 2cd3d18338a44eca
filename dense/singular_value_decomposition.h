#pragma once

/// @file
/// Singular value decomposition and least squares.

#include "frame/export.h"
#include "frame/host_memory.h"

/// Singular value decomposition A = U diag(S) V' of a dense matrix with at least as many rows as columns, and
/// linear least squares by it. Matrices are arrays of row pointers; indices are 0-based. The singular values
/// are not sorted.
///
/// The constructor sets capacities; each call passes the sizes that it works on. If `n` exceeds the capacity,
/// an operation does nothing and returns 0 (LinearLeastSquare: EmptyValue); if `n` is below 1 there is
/// nothing to do. An object whose memory was refused has capacities of 0. Separate objects may be used by
/// separate threads.
class CORVIDNUM_API SingularValueDecomposition : public HostAllocated {
 public:
  /// Allocates the arrays without initialising them.
  /// @param rows, cols the largest m of LinearLeastSquare, and the largest n of every operation
  SingularValueDecomposition(int rows, int cols);
  SingularValueDecomposition(const SingularValueDecomposition&) = delete;
  /// Copies the pointers, not the arrays, and leaks the arrays of the target. Both objects then share the
  /// arrays, and only one of them may be destroyed.
  SingularValueDecomposition& operator=(const SingularValueDecomposition& other);
  ~SingularValueDecomposition();

  /// Returns U of the last LinearLeastSquare, [rows][cols].
  const double* const* Umat();
  /// Returns V of the last decomposition, not transposed, [cols][cols].
  const double* const* VMat();
  /// Returns the singular values of the last decomposition that succeeded, none negative, [cols].
  const double* SVals();

  /// Factorises a matrix in place; the object keeps V and the singular values.
  /// @param m, n number of rows and columns; m may exceed the capacity
  /// @param a    [m][n] in: the matrix; out: U, whose columns are orthonormal
  /// @return 1; 0 with `a` unchanged if m < n or `n` exceeds the capacity; 0 with `a` and the factors without
  ///         meaning if a NaN or an infinity was met or a singular value has not converged after 49 sweeps.
  ///         That may also happen if elements are below about 1e-155 or above 1e153 in magnitude, since their
  ///         squares leave the range of a double, and to a rare matrix of ordinary elements
  ///
  /// Source: Golub and Reinsch, Singular value decomposition and least squares solutions, Numer. Math. 14
  /// (1970), with hypotenuses that do not overflow.
  unsigned char Decomposition(int m, int n, double** a);

  /// Sets singular values below the limit to 0, permanently. The limit is the smaller of 1e-8 and 1e-5 times
  /// the largest singular value.
  void EditSingularValue(int n);
  /// Returns how many singular values are not below that limit; changes nothing.
  int Rank(int n);
  /// Returns the reciprocal of the condition number, despite the name: the smallest singular value divided by
  /// the largest, from 0 for a singular matrix to 1. NaN if all are 0 or there is none.
  double ConditionNum(int n);

  /// Computes the least squares solution x = V diag(1/S) U' b of A x = b, in which singular values of 0 are
  /// left out.
  /// @param m, n number of rows and columns
  /// @param b [m] only read
  /// @param x [n] out: the solution
  /// @param u [m][n] U as Decomposition left it; only read
  void BackSubstitute(int m, int n, double* b, double* x, double** u);

  /// Computes the covariance matrix V diag(1/S^2) V' of the fitted parameters, in which singular values of 0
  /// are left out.
  /// @param n   number of parameters
  /// @param cvm [n][n] out: by rows
  void CovarianceMatrix(int n, double** cvm);

  /// Minimises the sum of ((a x - b)[i] / sigma[i])^2. Scales each column to a mean magnitude of 1 and edits
  /// the singular values as EditSingularValue does. Leaves the factors of the scaled problem in the object.
  /// @param m, n  number of rows and columns
  /// @param x     [n] out: the solution; all EmptyValue on failure
  /// @param b     [m] the right-hand side; only read
  /// @param a     [m][n] only read
  /// @param sigma [m] the standard deviations of b, in the unit of b; null: all 1. A zero is not caught
  /// @return the sum above, but with the solution of the scaled problem in place of x: it is the sum of
  ///         squares only if every column of `a` has a mean magnitude of 1. EmptyValue if m or n exceeds its
  ///         capacity, m < n, the decomposition fails (as for a column of zeros), or memory is refused
  double LinearLeastSquare(int m, int n, double* x, double* b, double** a, double* sigma);

 private:
  CORVIDNUM_HIDDEN bool AllocateArrays();
  CORVIDNUM_HIDDEN void ReleaseArrays();
  CORVIDNUM_HIDDEN bool Holds(int n) const { return n <= cols; }
  CORVIDNUM_HIDDEN double Limit(int n) const;
  CORVIDNUM_HIDDEN double FitScaled(int m, int n, double* x, const double* b, double** a, const double* sigma,
                                    double* scaledB, double* colScale);

  double** uRows;   // [rows][cols] the scaled matrix of LinearLeastSquare, then its U
  double** vRows;   // [cols][cols] V
  double* sVals;    // [cols] S
  double* scratch;  // [max(rows, cols)] the superdiagonal in Decomposition; else scratch of each operation
  int rows;
  int cols;
};
