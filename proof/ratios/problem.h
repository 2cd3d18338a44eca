#pragma once

// A matrix with right-hand sides of known solutions, and LAPACK's ratios of what a solver makes of them.
// A ratio is an error in units of what rounding may cause; below 30 it passes.

#include "proof/ratios/matrices.h"

namespace ratios {

constexpr int kMostRightHandSides = 15;
constexpr int kRightHandSides[] = {1, 2, kMostRightHandSides};

class Problem {
 public:
  /// Draws a problem; the same draw of the same kind, shape and order is always the same problem.
  Problem(Kind of_kind, Shape of_shape, int order, int number_of_draw);

  /// Returns the problem times a power of two, which changes no digit, such that the largest entry is about
  /// 2^exponent.
  Problem scaled_to(int exponent) const;

  Kind kind;
  Shape shape;
  int draw;
  Dense a;

  int order() const { return a.rows; }
  bool singular() const { return rank(kind, order()) < order(); }
  /// Returns right-hand sides, column after column.
  const double* right_hand_sides(bool transposed) const { return b_[transposed].data(); }
  Vector right_hand_side(bool transposed, int k) const {
    return Vector(right_hand_sides(transposed) + k * order(),
                  right_hand_sides(transposed) + (k + 1) * order());
  }

  /// Returns the growth that factors show: the norm of |L||U| over that of A, in that of the 1-norm and the
  /// maximum norm where it is larger.
  double growth(const RealMatrix& magnitude_of_factors) const;
  /// Returns ratio 1 of a matrix that should be A: norm(F - A) / (n norm(A) eps) in the 1-norm.
  double factor_ratio(const RealMatrix& factors_multiplied) const;
  /// Returns ratio 2, norm(b - A x) / (norm(A) norm(x) eps) in the 1-norm, of solutions; the largest.
  double residual_ratio(bool transposed, const double* x, int count) const;
  /// Returns ratio 3, norm(x - x_exact) rcond / (norm(x_exact) eps) in the maximum norm; the largest.
  double error_ratio(bool transposed, const double* x, int count) const;

 private:
  Real norm(bool transposed) const;

  Vector exact_;                    // solutions of both systems
  Vector b_[2];                     // plain, transposed
  double reciprocal_condition_[2];  // in the 1-norm of the matrix and of its transpose
};

}  // namespace ratios
