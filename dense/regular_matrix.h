#pragma once

#include <cstdint>

#include "dense/matrix.h"

/// A dense matrix in column order, solved by LU with row interchanges. A pivot whose magnitude is not above
/// the absolute limit 1e-8 counts as singular, whatever the scale of the matrix.
/// Separate objects may be used by separate threads, but for accesses outside the matrix.
class CORVIDNUM_API RegularMatrix : public Matrix {
 public:
  /// All elements are 0. Sizes below 0 make an object without elements that no operation can factorise.
  RegularMatrix(int rows, int cols);
  ~RegularMatrix() override;

  /// Factorises, then solves. Requires rows = cols. `b` is kept and may be `x`; on a failure of the
  /// factorisation `x` is untouched.
  /// @param info never written: callers that want it use FactorLU(int&) and BackSub
  ErrorCode Solve(double* x, double* b, int& info) override;
  void ZeroElements() override;
  double* Address(int row, int col) override;
  double& operator()(int row, int col) override;

  /// A = P L U in place, also for rows other than cols.
  ErrorCode FactorLU();
  /// The same.
  /// @param info out: 0; or the first column, 1-based, whose pivot failed (the factorisation is complete
  ///             even so); or below 0 if the object has no legal sizes or no memory
  ErrorCode FactorLU(int& info);

  /// Solves with the factors that FactorLU left; any number of times.
  /// @param x out: [rows] the solution
  /// @param b [rows] the right-hand side; only read; may be `x`
  /// @return MatrixFailed if rows < cols
  ErrorCode BackSub(double* x, double* b);

  /// Which input row stands at place `i` (0-based) after the interchanges of columns 0 .. i, the only ones
  /// that reach this place in a factorisation.
  /// @return the row, 1-based; -1 if `i` is no row or memory is exhausted
  int PermutationInfo(int i);

 protected:
  int rows;  // also the leading dimension
  int cols;
  double* data;  // rows * cols elements: (r, c) at c * rows + r
  int* pivots;   // max(rows, cols) row numbers, 1-based, as LAPACK gives them

 private:
  CORVIDNUM_HIDDEN std::int64_t ElementCount() const;

  static double outside;  // target of accesses outside the matrix
};
