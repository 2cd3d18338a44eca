#pragma once

// Whether a factorised matrix is singular to working precision. Rounding leaves small pivots where there
// should be none, whichever solver chose them. The solution then has a small residual, and no digit that
// holds.

#include <optional>
#include <vector>

#include "examples/solve_mtx/direct_solver.h"
#include "examples/solve_mtx/residual.h"

namespace solve_mtx {

/// The error of a solution as part of its largest element, from its residual and a rounding of all data: 1 if
/// no digit is sure. An estimate by a few solutions with the factors; NaN or infinite if there is none.
/// Source of the bound: N. J. Higham, Accuracy and Stability of Numerical Algorithms, section 7.7.
/// @param solver  has factorised the matrix
double forward_error(DirectSolver& solver, const Equations& equations, const std::vector<double>& x,
                     const std::vector<double>& b);

/// The forward error of the solution for `b` without refinement, if rounding leaves no digit of it, nor of a
/// solution without a pattern; else nothing. A single one may also be unsure because columns differ much in
/// size, which is no fault; and of factors that lost digits nothing can be said.
std::optional<double> hopeless_error(DirectSolver& solver, const Equations& equations,
                                     const std::vector<double>& b);

}  // namespace solve_mtx
