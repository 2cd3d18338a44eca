#pragma once

// Estimates the 1-norm of a linear operator that is known by its products only, such as an inverse.

#include "sparse/solver/array.h"

namespace corvidnum::solver {

/// The product that the estimator asks for next.
enum class Product {
  kNone,       // the estimate is complete
  kPlain,      // vector := Op vector
  kTransposed  // vector := Op^T vector
};

/// Estimates a norm by reverse communication: the caller applies to the vector the product asked for. An
/// estimator keeps all its state in itself, so threads may each use one at the same time.
class NormEstimator {
 public:
  /// The most products that an estimate takes, whatever the LAPACK at hand would do.
  static constexpr int kMostProducts = 11;

  /// Prepares to estimate the norm of an operator of this order.
  /// @return false: the host refused the memory
  bool begin(int order);
  /// Takes the vector as the product asked for before, if any, and asks for the next one.
  /// @param computed false: that product could not be computed
  /// A product that could not be computed, or is not finite, ends the estimate with infinity.
  Product next(bool computed);
  /// [order] the vector, to be replaced by its product.
  double* vector() { return vector_.data(); }
  /// Returns the estimate, once next() has asked for nothing more.
  double norm() const { return norm_; }

 private:
  int order_ = 0;
  int products_ = 0;             // asked for so far
  int request_ = 0;              // KASE of dlacn2: 0 start or end, 1 plain, 2 transposed
  int progress_[3] = {0, 0, 0};  // ISAVE of dlacn2
  double norm_ = 0.0;
  Array<double> vector_, image_;  // X and V of dlacn2
  Array<int> signs_;              // ISGN of dlacn2
};

/// Estimates the 1-norm of a linear operator, the largest sum of magnitudes of a column, by at most 11
/// products.
/// @param order            of the operator; the norm of one of order 0 is 0
/// @param apply            bool(double* x): x [order] := Op x; false if it cannot be computed
/// @param apply_transposed bool(double* x): x [order] := Op^T x, likewise
/// @param norm             out: a lower bound but for rounding, seldom below a third of the norm; infinity if
/// a
///                         product failed or was not finite, since the operator has no finite norm then as
///                         far as can be known
/// @return false: the host refused the memory, and the norm is unset
/// Source: N. J. Higham, ACM Trans. Math. Softw. 14 (1988), algorithm 674.
template <class Apply, class ApplyTransposed>
bool estimate_norm1(int order, Apply&& apply, ApplyTransposed&& apply_transposed, double& norm) {
  NormEstimator estimator;
  if (!estimator.begin(order)) return false;
  for (Product product = estimator.next(true); product != Product::kNone;) {
    double* const x = estimator.vector();
    product = estimator.next(product == Product::kPlain ? apply(x) : apply_transposed(x));
  }
  norm = estimator.norm();
  return true;
}

}  // namespace corvidnum::solver
