#pragma once

// A system at two steps of a Newton iteration, in each of the forms that the solvers take.

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

#include "tests/support/sparse_matrices.h"

namespace bench {

using Vector = std::vector<double>;

constexpr int kSteps = 2;

struct Problem {
  int n = 0, entries = 0;
  reference::Coordinates coordinates[kSteps];  // from 1, as the model writes them; all of one pattern
  std::vector<int> starts, rows;               // compressed columns, from 0; rows ascend in a column
  Vector values[kSteps];                       // values of the compressed columns
  Vector rhs;
  bool heavy_diagonal;  // whether its elements are good pivots

  Problem(reference::Coordinates first, reference::Coordinates second, bool has_heavy_diagonal);
};

inline Problem::Problem(reference::Coordinates first, reference::Coordinates second, bool has_heavy_diagonal)
    : n(first.n),
      entries(first.entries()),
      coordinates{std::move(first), std::move(second)},
      heavy_diagonal(has_heavy_diagonal) {
  const reference::Coordinates& a = coordinates[0];
  std::vector<std::size_t> order(a.values.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) {
    return a.columns[i] != a.columns[j] ? a.columns[i] < a.columns[j] : a.rows[i] < a.rows[j];
  });
  starts.assign(static_cast<std::size_t>(n) + 1, 0);
  for (const std::size_t k : order) {
    ++starts[static_cast<std::size_t>(a.columns[k])];
    rows.push_back(a.rows[k] - 1);
    for (int step = 0; step < kSteps; ++step) values[step].push_back(coordinates[step].values[k]);
  }
  std::partial_sum(starts.begin(), starts.end(), starts.begin());
  reference::Random random(7);
  rhs = reference::random_vector(n, random);
}

}  // namespace bench
