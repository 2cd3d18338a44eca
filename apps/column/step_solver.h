#pragma once

// The linear systems of Newton's steps: one pattern, other values in each step.

#include <vector>

#include "apps/column/newton_jacobian.h"
#include "sparse/sparse_solver.h"

namespace column {

using StepMethod = corvidnum::SparseMethod;

class StepSolver {
 public:
  /// @param entries  of the first step, whose places are those of all steps
  StepSolver(StepMethod method, const SparseEntries& entries, int order);

  /// Solves in the pivot order of the step before, or in a new one if there is none or it does not suit.
  /// @param entries  in the places of the first ones
  /// @return whether `solution` holds the solution, finite
  bool solve(const SparseEntries& entries, const std::vector<double>& right_side,
             std::vector<double>& solution);
  /// Pivot orders chosen so far.
  int orders() const { return solver_.Report().factorisations; }

 private:
  corvidnum::SparseSolver solver_;
};

}  // namespace column
