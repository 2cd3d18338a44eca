#pragma once

// The LU with a pivot limit beside the textbook's.

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "dense/lu.h"
#include "tests/support/dense_reference.h"

namespace reference {

inline bool same_bits(double a, double b) {
  return std::isnan(a) ? std::isnan(b) : a == b && std::signbit(a) == std::signbit(b);
}

/// Factorises both ways and says what differs, to the last bit; empty if nothing does.
inline std::string difference_from_textbook(const Dense& a) {
  const int m = a.rows, n = a.cols, lda = m + 2;
  Dense expected = a, storage(lda, n);
  std::fill(storage.values.begin(), storage.values.end(), 4711.0);
  for (int j = 0; j < n; ++j) std::copy_n(expected.column(j), m, storage.column(j));
  std::vector<int> pivots(static_cast<std::size_t>(std::min(m, n))), expected_pivots = pivots;
  int info = 99;
  corvidnum::dgetrf_tol(&m, &n, storage.values.data(), &lda, pivots.data(), &info);
  if (info != textbook_lu(expected, expected_pivots, 1e-8))
    return "another failing column, " + std::to_string(info);
  if (pivots != expected_pivots) return "other pivots";
  for (int j = 0; j < n; ++j) {
    if (!std::equal(expected.column(j), expected.column(j) + m, storage.column(j), same_bits))
      return "another column " + std::to_string(j);
    if (!(storage(m, j) == 4711.0 && storage(m + 1, j) == 4711.0))
      return "rows beyond the matrix are changed";
  }
  return {};
}

}  // namespace reference
