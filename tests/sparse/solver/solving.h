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

inline constexpr SparseMethod kMethods[] = {SparseMethod::automatic, SparseMethod::ma48, SparseMethod::ma38};

inline SparseOptions by(SparseMethod method) {
  SparseOptions options;
  options.method = method;
  return options;
}

/// A solver of a matrix given from 1.
class Solver : public SparseSolver {
 public:
  explicit Solver(const Coordinates& a, const SparseOptions& options = {})
      : SparseSolver(a.n, a.entries(), a.rows.data(), a.columns.data(), 1, options) {}
};

/// Solves in place, and expects the status and an error that the status allows.
inline Vector expect_solved(SparseSolver& solver, const Coordinates& a, const Vector& b,
                            bool transposed = false) {
  Vector x = b;
  const SparseStatus status =
      transposed ? solver.SolveTransposed(x.data(), x.data()) : solver.Solve(x.data(), x.data());
  EXPECT_EQ(status, SparseStatus::Solved) << StatusText(status);
  EXPECT_LE(reference::componentwise_error(transposed ? reference::transpose(a) : a, x.data(), b.data()),
            solver.Options().bound);
  return x;
}

}  // namespace solver_tests
