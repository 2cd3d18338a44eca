#pragma once

// Judges factors by putting the matrix together again.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "tests/support/dense_reference.h"

namespace reference {

/// The largest difference between the columns of `a` that have a pivot in its dense factors `f` (leading
/// dimension a.rows + pad) and their product; every column's interchange is undone by `ipiv`.
inline double full_factor_error(Dense a, const double* f, int lda, const std::vector<int>& ipiv, int rank) {
  for (int j = a.cols; j > rank; --j) {
    const int from = -ipiv[static_cast<std::size_t>(j - 1)];
    EXPECT_GE(from, 1);
    EXPECT_LE(from, j);
    if (from < 1 || from > j) return HUGE_VAL;
    for (int i = 0; i < a.rows; ++i) std::swap(a(i, from - 1), a(i, j - 1));
  }
  for (int k = 1; k <= rank; ++k) {
    const int row = ipiv[static_cast<std::size_t>(k - 1)];
    EXPECT_GE(row, k);
    if (row < k || row > a.rows) return HUGE_VAL;
    for (int j = 0; j < a.cols; ++j) std::swap(a(k - 1, j), a(row - 1, j));
  }
  double worst = 0.0;
  for (int j = 0; j < rank; ++j) {
    for (int i = 0; i < a.rows; ++i) {
      double sum = i <= j ? f[j * lda + i] : 0.0;
      for (int k = 0; k < std::min(i, j + 1); ++k) sum += f[k * lda + i] * f[j * lda + k];
      worst = std::max(worst, std::fabs(sum - a(i, j)));
    }
  }
  return worst;
}

}  // namespace reference
