#pragma once

// The search for a pivot in a column.

#include <cmath>
#include <cstddef>

namespace corvidnum {

/// Returns the 1-based index of the element of largest magnitude, the first among equals. A NaN never beats a
/// number, and among NaNs alone the index is 1. Pivoting uses this routine and not that of the BLAS because
/// BLAS libraries differ in how they treat a NaN, and pivots must not depend on the one installed.
/// @param n number of contiguous elements of `x`; 0 or less returns 0
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
