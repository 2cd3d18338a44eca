#pragma once

// Iterative refinement with any solver: solve for the residual and add the correction.

#include <vector>

#include "apps/solve/direct_solver.h"
#include "apps/solve/residual.h"

namespace solve {

/// Refines a solution in at most ten steps, as long as each at least halves omega1 + omega2. A step that does
/// not reduce the sum is not taken. Sets the backward errors and the number of steps in `solution`.
void refine(DirectSolver& solver, const Equations& equations, const std::vector<double>& b,
            Solution& solution);

/// A solution with a larger backward error is refined unasked; rounding with good pivots leaves less.
constexpr double kInexact = 1e-12;

/// Returns whether omega1 + omega2 is at most kInexact; NaN is not.
bool exact_enough(const BackwardErrors& errors);

/// Computes the backward errors of a solution if they are not known yet, and refines it unless it is exact
/// enough.
void refine_where_inexact(DirectSolver& solver, const Equations& equations, const std::vector<double>& b,
                          Solution& solution);

}  // namespace solve
