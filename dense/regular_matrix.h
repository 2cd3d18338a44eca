#pragma once

/// @file
/// Dense systems.

#include <cstdint>

#include "dense/matrix.h"

/// A dense matrix stored by columns and solved by LU with partial pivoting. A pivot of magnitude 1e-8 or less
/// counts as singular, whatever the scale of the matrix.
/// Separate objects may be used by separate threads, but for accesses outside the matrix.
class CORVIDNUM_API RegularMatrix : public Matrix {
 public:
  /// Allocates the matrix with all elements 0. Negative sizes make an object without elements that no
  /// operation can factorise.
  RegularMatrix(int rows, int cols);
  ~RegularMatrix() override;

  /// Factorises, then solves. Requires rows = cols. `b` is kept and may be `x`; if the factorisation fails,
  /// `x` is unchanged.
  /// @param x    [rows] out: the solution
  /// @param b    [rows] the right-hand side; only read
  /// @param info never written: callers that need it call FactorLU(int&) and BackSub
  ErrorCode Solve(double* x, double* b, int& info) override;
  void ZeroElements() override;
  double* Address(int row, int col) override;
  double& operator()(int row, int col) override;

  /// Factorises A = P L U in place; the matrix may be rectangular.
  ErrorCode FactorLU();
  /// Factorises A = P L U in place; the matrix may be rectangular.
  /// @param info out: 0; or the first column, 1-based, whose pivot is at or below the limit (the others are
  ///             factorised all the same); or below 0 if the sizes are illegal or memory was refused
  ErrorCode FactorLU(int& info);

  /// Solves with the factors of FactorLU, any number of times.
  /// @param x out: [rows] the solution
  /// @param b [rows] the right-hand side; only read; may be `x`
  /// @return MatrixFailed if rows < cols
  ErrorCode BackSub(double* x, double* b);

  /// Returns which input row stands in row `i` (from 0) after the row interchanges of columns 0 to i. Later
  /// interchanges of a factorisation do not touch row `i`.
  /// @return the row, 1-based; -1 if `i` is not a row or memory was refused
  int PermutationInfo(int i);

 protected:
  int rows;      ///< number of rows; also the leading dimension
  int cols;      ///< number of columns
  double* data;  ///< [rows * cols] element (r, c) at c * rows + r
  int* pivots;   ///< [max(rows, cols)] row interchanges, 1-based, as in LAPACK

 private:
  CORVIDNUM_HIDDEN std::int64_t ElementCount() const;

  static double outside;  // target of accesses outside the matrix
};
