#pragma once

#include <cmath>
#include <cstddef>

namespace corvidnum {

/// The 1-based place of the element of largest magnitude, the first of equals. A NaN never beats a number, so
/// the answer does not hang on the BLAS that is present; among NaNs alone it is 1.
/// @param n elements of `x`, which are contiguous; 0 or less gives 0
inline int idamax(int n, const double* x) {
  if (n <= 0) return 0;
  int largest = 1;
  double magnitude = std::isnan(x[0]) ? -1.0 : std::fabs(x[0]);
  for (int i = 1; i < n; ++i) {
    if (std::fabs(x[i]) > magnitude) {  // false for a NaN
      magnitude = std::fabs(x[i]);
      largest = i + 1;
    }
  }
  return largest;
}

}  // namespace corvidnum
