#pragma once

// Iterative refinement that adds corrections, with any solver.

#include <vector>

#include "apps/solve/direct_solver.h"
#include "apps/solve/residual.h"

namespace solve {

/// Adds corrections, each the solution for the residual, while they halve the backward errors, up to ten.
/// Tells in `solution` how many there were.
void refine(DirectSolver& solver, const Equations& equations, const std::vector<double>& b,
            Solution& solution);

/// The backward error from which on a solution is refined unasked: rounding with good pivots leaves less.
constexpr double kInexact = 1e-12;

/// Whether both backward errors together stay below kInexact. NaN does not.
bool exact_enough(const BackwardErrors& errors);

/// Finds the backward errors of a solution if they are not known yet, and refines it unless it is exact
/// enough.
void refine_where_inexact(DirectSolver& solver, const Equations& equations, const std::vector<double>& b,
                          Solution& solution);

}  // namespace solve
