#pragma once

// Patterns of square matrices for the tests of the sparse solver's parts.

#include <vector>

#include "sparse/solver/pattern.h"
#include "tests/support/sparse_matrices.h"

namespace solver_tests {

/// Owns the pattern, and the values by rows, of a square matrix without duplicates.
class SmallPattern {
 public:
  explicit SmallPattern(const reference::Coordinates& a) : n_(a.n), has_(size(), std::vector<bool>(size())) {
    std::vector<std::vector<double>> value(size(), std::vector<double>(size()));
    for (std::size_t k = 0; k < a.values.size(); ++k) {
      const auto i = static_cast<std::size_t>(a.rows[k] - 1), j = static_cast<std::size_t>(a.columns[k] - 1);
      has_[i][j] = true;
      value[i][j] = a.values[k];
    }
    for (std::size_t i = 0; i < size(); ++i) {
      for (std::size_t j = 0; j < size(); ++j) {
        if (has_[i][j]) column_.push_back(static_cast<int>(j)), values_.push_back(value[i][j]);
        if (has_[j][i]) row_.push_back(static_cast<int>(j));
      }
      row_begin_.push_back(static_cast<int>(column_.size()));
      column_begin_.push_back(static_cast<int>(row_.size()));
    }
  }
  int order() const { return n_; }
  bool has(int i, int j) const { return has_[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)]; }
  const std::vector<double>& values() const { return values_; }
  corvidnum::solver::Pattern view() const {
    return {n_, row_begin_.data(), column_.data(), column_begin_.data(), row_.data()};
  }

 private:
  std::size_t size() const { return static_cast<std::size_t>(n_); }

  int n_;
  std::vector<std::vector<bool>> has_;
  std::vector<int> row_begin_{0}, column_, column_begin_{0}, row_;
  std::vector<double> values_;
};

}  // namespace solver_tests
