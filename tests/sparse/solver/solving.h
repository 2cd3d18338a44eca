#pragma once

// What the tests of SparseSolver share.

#include <gtest/gtest.h>

#include "sparse/sparse_solver.h"
#include "tests/support/hard_systems.h"

namespace solver_tests {

using corvidnum::SparseMethod;
using corvidnum::SparseOptions;
using corvidnum::SparseReport;
using corvidnum::SparseSolver;
using corvidnum::SparseStatus;
using reference::Coordinates;
using reference::Dense;
using reference::Random;
using reference::Vector;
using Indices = std::vector<int>;

inline constexpr SparseMethod kMethods[] = {SparseMethod::automatic, SparseMethod::ma48, SparseMethod::ma38};

inline SparseOptions by(SparseMethod method) {
  SparseOptions options;
  options.method = method;
  return options;
}

/// Renumbers indices that count from 1.
inline Indices from_base(Indices indices, int base) {
  for (int& index : indices) index += base - 1;
  return indices;
}

class Solver : public SparseSolver {
 public:
  explicit Solver(const Coordinates& a, const SparseOptions& options = {}, int base = 1)
      : SparseSolver(a.n, a.entries(), from_base(a.rows, base).data(), from_base(a.columns, base).data(),
                     base, options) {}

  SparseStatus solve(bool transposed, const double* b, double* x, int count = 1) {
    return transposed ? SolveTransposed(b, x, count) : Solve(b, x, count);
  }
};

/// Solves in place, and expects `Solved` and an error within the bound.
inline Vector expect_solved(Solver& solver, const Coordinates& a, const Vector& b, bool transposed = false) {
  Vector x = b;
  const SparseStatus status = solver.solve(transposed, x.data(), x.data());
  EXPECT_EQ(status, SparseStatus::Solved) << StatusText(status);
  EXPECT_LE(reference::componentwise_error(transposed ? reference::transpose(a) : a, x.data(), b.data()),
            solver.Options().bound);
  return x;
}

}  // namespace solver_tests
