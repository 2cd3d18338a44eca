#pragma once

// The linear systems of Newton's steps: one pattern, other values in each step.

#include <memory>
#include <utility>
#include <vector>

#include "apps/column/newton_jacobian.h"

namespace column {

enum class StepMethod { kMa48, kMa38 };

/// "ma48" or "ma38".
const char* name_of(StepMethod method);

class StepSolver {
 public:
  virtual ~StepSolver() = default;

  /// Solves in the pivot order of the step before, or in a new one if there is none or it does not suit.
  /// @param entries  in the places of the first ones
  /// @return whether `solution` holds the solution, finite
  bool solve(SparseEntries entries, const std::vector<double>& right_side, std::vector<double>& solution);
  /// Pivot orders chosen so far.
  int orders() const { return orders_; }

 protected:
  explicit StepSolver(SparseEntries entries) : entries_(std::move(entries)) {}

  virtual bool solve_as_ordered(const std::vector<double>& right_side, std::vector<double>& solution) = 0;
  virtual bool solve_in_new_order(const std::vector<double>& right_side, std::vector<double>& solution) = 0;

  SparseEntries entries_;

 private:
  int orders_ = 0;
};

/// @param entries  of the first step
std::unique_ptr<StepSolver> make_step_solver(StepMethod method, SparseEntries entries, int order);

}  // namespace column
