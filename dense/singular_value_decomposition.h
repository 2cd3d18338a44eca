#pragma once

#include "frame/export.h"
#include "frame/host_memory.h"

/// A = U diag(S) V' of a dense matrix with at least as many rows as columns, and the least squares that stand
/// on it. Matrices are arrays of row pointers; indices are 0-based. The singular values come in no order.
///
/// The constructor sets capacities; each call says which part of them, or which matrix of the caller, it is
/// about. With `n` above the capacity an operation does nothing but to return 0 (LinearLeastSquare:
/// EmptyValue); below 1 it finds nothing to do. An object whose memory was refused has capacities of 0.
/// Separate objects may be used by separate threads.
class CORVIDNUM_API SingularValueDecomposition : public HostAllocated {
 public:
  /// The contents of all arrays are undefined.
  /// @param rows, cols the largest m of LinearLeastSquare, and the largest n of every operation
  SingularValueDecomposition(int rows, int cols);
  SingularValueDecomposition(const SingularValueDecomposition&) = delete;
  /// Copies the handles, not the arrays, and drops those of the target: both objects then share the arrays,
  /// and only one of them may be destroyed.
  SingularValueDecomposition& operator=(const SingularValueDecomposition& other);
  ~SingularValueDecomposition();

  /// [rows][cols] the U of the last LinearLeastSquare.
  const double* const* Umat();
  /// [cols][cols] the V of the last decomposition, not transposed.
  const double* const* VMat();
  /// [cols] the singular values of the last decomposition that succeeded, none negative.
  const double* SVals();

  /// Factorises a matrix in place; V and the singular values are kept here.
  /// @param m, n rows and columns; m may exceed the capacity
  /// @param a    [m][n] in: the matrix; out: U, whose columns are orthonormal
  /// @return 1; 0 if m < n or `n` is above the capacity, with `a` as it was; 0 also if a NaN or an infinity
  ///         was met, or a singular value took 49 sweeps and did not converge: `a` and the factors then have
  ///         no meaning. Elements far from 1 in magnitude, below about 1e-155 or above 1e153, may lead there
  ///         too, since their squares leave the range, and a rare matrix does not converge at all
  /// Source: Golub and Reinsch, Singular value decomposition and least squares solutions, Numer. Math. 14
  /// (1970), with rotations from hypotenuses that do not overflow.
  unsigned char Decomposition(int m, int n, double** a);

  /// Sets to 0, for good, the singular values below the limit: 1e-5 of the largest, but at most 1e-8.
  void EditSingularValue(int n);
  /// How many singular values are not below that limit; changes nothing.
  int Rank(int n);
  /// The reciprocal of what the name says: the smallest singular value divided by the largest, from 0 for a
  /// singular matrix to 1. NaN if all are 0 or there is none.
  double ConditionNum(int n);

  /// x := V diag(1/S) U' b, where a singular value of 0 adds nothing: the least squares solution of A x = b.
  /// @param b [m] only read
  /// @param x [n] out
  /// @param u [m][n] what Decomposition left; only read
  void BackSubstitute(int m, int n, double* b, double* x, double** u);

  /// V diag(1/S^2) V', where a singular value of 0 adds nothing: the covariance of the fitted parameters.
  /// @param cvm [n][n] out
  void CovarianceMatrix(int n, double** cvm);

  /// Minimises the sum of ((a x - b)[i] / sigma[i])^2, on columns scaled to a mean magnitude of 1 and with
  /// the singular values edited. Leaves the factors of the scaled problem in the object.
  /// @param m, n  rows and columns
  /// @param x     [n] out: the solution; EmptyValue where there is none
  /// @param b     [m] the right-hand side; only read
  /// @param a     [m][n] only read
  /// @param sigma [m] the standard deviations of b, in its unit; null: all 1. A zero is not caught
  /// @return the sum above, but formed with the solution of the scaled problem: it is the sum of squares only
  ///         if every column of `a` has a mean magnitude of 1. EmptyValue if m or n is above its capacity, if
  ///         m < n, if the decomposition fails (a column of zeros makes it fail), or if memory is refused
  double LinearLeastSquare(int m, int n, double* x, double* b, double** a, double* sigma);

 private:
  CORVIDNUM_HIDDEN bool AllocateArrays();
  CORVIDNUM_HIDDEN void ReleaseArrays();
  CORVIDNUM_HIDDEN bool Holds(int n) const { return n <= cols; }
  CORVIDNUM_HIDDEN double Limit(int n) const;
  CORVIDNUM_HIDDEN double FitScaled(int m, int n, double* x, const double* b, double** a, const double* sigma,
                                    double* scaledB, double* colScale);

  double** uRows;   // [rows][cols] U of LinearLeastSquare, first its scaled matrix
  double** vRows;   // [cols][cols]
  double* sVals;    // [cols]
  double* scratch;  // [max(rows, cols)] the superdiagonal while decomposing; else free
  int rows;
  int cols;
};
