#pragma once

// Iterative refinement with a solver that has none.

#include <vector>

#include "examples/solve_mtx/direct_solver.h"
#include "examples/solve_mtx/residual.h"

namespace solve_mtx {

/// Adds corrections, each the solution for the residual, while they halve the backward errors, up to ten.
/// Tells in `solution` how many there were.
void refine(DirectSolver& solver, const Equations& equations, const std::vector<double>& b,
            Solution& solution);

}  // namespace solve_mtx
