#pragma once

// Decides whether a factorised matrix is singular to working precision. Rounding leaves small pivots where
// there should be none, whichever solver chose them. The solution then has a small residual, and no digit
// that holds.

#include <optional>
#include <vector>

#include "apps/solve/direct_solver.h"
#include "apps/solve/residual.h"

namespace solve {

/// Estimates the forward error of a solution relative to its largest element, from its residual and one
/// rounding of all data: 1 if no digit is sure. Solves a few times with the factors. NaN or infinite if there
/// is no estimate.
/// Source of the bound: N. J. Higham, Accuracy and Stability of Numerical Algorithms, section 7.7.
/// @param solver  has factorised the matrix
double forward_error(DirectSolver& solver, const Equations& equations, const std::vector<double>& x,
                     const std::vector<double>& b);

/// Returns the forward error for a right-hand side whose elements are as large as the rows and have no
/// pattern. It depends on the matrix alone: how much rows or columns differ in size does not raise it.
/// NaN or infinite if it is beyond all numbers. Returns nothing if the factors are too inexact to say
/// anything about the matrix.
std::optional<double> balanced_error(DirectSolver& solver, const Equations& equations);

}  // namespace solve
