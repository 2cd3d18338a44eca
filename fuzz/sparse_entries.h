#pragma once

// Sparse matrices out of a fuzzer's bytes.

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "fuzz/bytes.h"

namespace fuzz {

/// A matrix by coordinates from 1.
struct Entries {
  int rows, columns;
  std::vector<int> row, column;
  std::vector<double> value;

  int count() const { return static_cast<int>(value.size()); }
  void add(int i, int j, double v) { row.push_back(i), column.push_back(j), value.push_back(v); }
  bool has(std::size_t k) const {
    return row[k] >= 1 && row[k] <= rows && column[k] >= 1 && column[k] <= columns;
  }
};

/// Reads a matrix: single entries, diagonals, full rows and columns, and full blocks.
/// @param tame  all indices are in range, and all values at most 8 in magnitude
inline Entries read_entries(Bytes& bytes, int rows, int columns, bool tame) {
  Entries a{rows, columns, {}, {}, {}};
  if (rows < 1 || columns < 1) return a;
  constexpr int kMost = 3000;
  for (int parts = bytes.below(24); parts > 0 && a.count() < kMost; --parts) {
    enum { kEntry, kDiagonal, kRow, kColumn, kBlock, kStray, kKinds };
    const int kind = bytes.below(kKinds + 4);  // most parts are single entries
    const int i = bytes.between(1, rows), j = bytes.between(1, columns);
    Stream values(bytes.byte());
    const auto next = [&] { return 4 * values.next(); };
    switch (kind) {
      case kDiagonal:
        for (int k = 0; i + k <= rows && j + k <= columns; ++k) a.add(i + k, j + k, next());
        break;
      case kRow:
        for (int k = 1; k <= columns; ++k) a.add(i, k, next());
        break;
      case kColumn:
        for (int k = 1; k <= rows; ++k) a.add(k, j, next());
        break;
      case kBlock: {
        const int size = bytes.between(1, 40);
        for (int q = j; q <= columns && q < j + size; ++q)
          for (int p = i; p <= rows && p < i + size; ++p) a.add(p, q, next());
        break;
      }
      case kStray:
        if (!tame) {
          const int p = bytes.integer(), q = bytes.integer();
          a.add(p, q, bytes.number());
          break;
        }
        [[fallthrough]];
      default:
        a.add(i, j, bytes.number(tame));
    }
  }
  return a;
}

/// Gives all entries other values.
inline void change_values(Bytes& bytes, Entries& a, bool tame) {
  Stream values(bytes.byte());
  for (double& value : a.value) value = 4 * values.next();
  for (int changes = bytes.below(4); changes > 0 && a.count() > 0; --changes)
    a.value[static_cast<std::size_t>(bytes.below(a.count()))] = bytes.number(tame);
}

/// Tests a solution of a square system by its residual: |b - A x| may be `factor` times rounding errors of
/// the sizes of |A| |x| + |b|, row by row measured by the largest.
inline bool solves(const Entries& a, const double* x, const double* b, bool transposed, double factor) {
  const auto n = static_cast<std::size_t>(a.rows);
  std::vector<double> residual(b, b + n);
  double matrix = 0, solution = 0, right = 0;
  std::vector<double> row_sum(n, 0.0);
  for (std::size_t k = 0; k < a.value.size(); ++k) {
    if (!a.has(k)) continue;
    const auto i = static_cast<std::size_t>((transposed ? a.column : a.row)[k] - 1);
    const auto j = static_cast<std::size_t>((transposed ? a.row : a.column)[k] - 1);
    residual[i] -= a.value[k] * x[j];
    row_sum[i] += std::fabs(a.value[k]);
  }
  double largest = 0;
  for (std::size_t i = 0; i < n; ++i) {
    // Each pivot that is only a rounding error makes a solution some 1e17 times as large: many of them make
    // it too large for numbers, a few cannot.
    constexpr std::size_t kFew = 8;
    if (!std::isfinite(x[i])) return n > kFew;
    matrix = std::max(matrix, row_sum[i]);
    solution = std::max(solution, std::fabs(x[i]));
    right = std::max(right, std::fabs(b[i]));
    largest = std::max(largest, std::fabs(residual[i]));
  }
  return largest <= factor * std::numeric_limits<double>::epsilon() * (matrix * solution + right);
}

/// Returns a bound of the residual of an LU solution in units of rounding: by the largest growth of elements
/// that a pivot threshold allows (Higham, Accuracy and Stability of Numerical Algorithms, ch. 9); beyond
/// small orders that is astronomic and never met. With a threshold of 0.1 or more the growth stays far below
/// 1e6 in practice, and a residual that has lost 8 digits counts as a fault; with a smaller one it takes 12.
inline double growth_bound(int n, double threshold) {
  constexpr double kUsualThreshold = 0.1, kEightDigits = 1e8, kTwelveDigits = 1e12;
  const double most = threshold >= kUsualThreshold ? kEightDigits : kTwelveDigits;
  return std::min(most, 10.0 * n * n * n / threshold * std::pow(1 + 1 / threshold, n - 1));
}

}  // namespace fuzz
