#pragma once

#include <cmath>

#include "sparse/ma38/layout.h"

namespace corvidnum {
namespace ma38 {

/// Divides a column of L by its pivot.
inline void divide_by_pivot(double* x, Index count, double pivot) {
  const double reciprocal = 1.0 / pivot;
  if (std::isfinite(reciprocal)) {
    for (Index i = 0; i < count; ++i) x[i] *= reciprocal;
  } else {  // of a denormal pivot the quotients can be numbers though
    for (Index i = 0; i < count; ++i) x[i] /= pivot;
  }
}

}  // namespace ma38
}  // namespace corvidnum
