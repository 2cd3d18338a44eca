#pragma once

// Square matrices with more digits and a wider range than double, in which the matrices of the runs are made
// and the library's results are judged.

#include <utility>
#include <vector>

#include "tests/support/hard_systems.h"

namespace ratios {

using reference::Dense;
using reference::Random;
using reference::Real;
using reference::Vector;

/// An order x order matrix, null at first.
struct RealMatrix {
  int order;
  std::vector<Real> values;

  explicit RealMatrix(int n) : order(n), values(static_cast<std::size_t>(n) * static_cast<std::size_t>(n)) {}
  explicit RealMatrix(const Dense& a) : order(a.rows), values(a.values.begin(), a.values.end()) {}
  Real& operator()(int i, int j) { return values[j * order + i]; }
  Real operator()(int i, int j) const { return values[j * order + i]; }
  void swap_rows(int i, int k) {
    for (int j = 0; j < order; ++j) std::swap((*this)(i, j), (*this)(k, j));
  }
  void swap_columns(int j, int k) {
    for (int i = 0; i < order; ++i) std::swap((*this)(i, j), (*this)(i, k));
  }
};

/// What factors multiply out to, and the product of their magnitudes, which bounds the rounding errors.
struct Product {
  RealMatrix value, magnitude;
  explicit Product(int order) : value(order), magnitude(order) {}
};

/// Returns the product of the unit lower and the upper triangle that share one array.
/// @param at    element (i, j) of the array, from 0
/// @param rows, columns its size
/// @param pivots columns of L and rows of U
template <class Element>
RealMatrix product_of_triangles(int order, int pivots, const Element& at) {
  RealMatrix result(order);
  for (int k = 0; k < pivots; ++k) {
    for (int j = k; j < order; ++j) {
      const Real upper = at(k, j);
      result(k, j) += upper;
      for (int i = k + 1; i < order; ++i) result(i, j) += Real{at(i, k)} * upper;
    }
  }
  return result;
}

}  // namespace ratios
