// Estimates the 1-norm of a linear operator by LAPACK's dlacn2, which asks for products with the operator or
// its transpose.
//
//   1. The product with (1/n, ..., 1/n) and the transposed product with its signs tell which column is likely
//   to be the largest.
//   2. The product with its unit vector gives a lower bound, and the transposed product with the signs of
//   that a better column. Repeat until nothing changes, or four columns are done.
//   3. Try an alternating vector too, against cancellation, and keep the larger bound.
//
// That makes 11 products at most. dlacn2 keeps its state in its arguments. It would carry on with vectors
// that are not finite, so they are caught here. Source: N. J. Higham, FORTRAN codes for estimating the
// one-norm of a real or complex matrix, ACM Trans. Math. Softw. 14 (1988), algorithm 674.

#include "sparse/solver/norm_estimate.h"

#include <limits>

#include "frame/blas.h"
#include "sparse/ma48/finite.h"

namespace corvidnum::solver {

bool NormEstimator::begin(int order) {
  order_ = order;
  products_ = request_ = 0;
  norm_ = 0.0;
  return vector_.allocate(order) && image_.allocate(order) && signs_.allocate(order);
}

Product NormEstimator::next(bool computed) {
  if (order_ < 1) return Product::kNone;
  if (request_ != 0 && !(computed && all_finite(vector_.data(), order_))) {
    norm_ = std::numeric_limits<double>::infinity();
    return Product::kNone;
  }
  dlacn2_(&order_, image_.data(), vector_.data(), signs_.data(), &norm_, &request_, progress_);
  if (request_ == 0 || products_ == kMostProducts) return Product::kNone;
  ++products_;
  return request_ == 1 ? Product::kPlain : Product::kTransposed;
}

}  // namespace corvidnum::solver
