#pragma once

// The judge of a solution: its residual and its componentwise backward error.

#include "sparse/solver/system.h"

namespace corvidnum::solver {

/// Computes residual = b - S y and terms = |S| |y|, or the same with S'.
/// @param y, b            [order] in units of the scaled system
/// @param residual, terms [order] out
void compute_residual(const System& system, bool transposed, const double* y, const double* b,
                      double* residual, double* terms);

/// Computes the residual of y, which is wanted for a correction, and returns its componentwise backward
/// error, the larger of omega1 and omega2; infinity if a number is not finite. omega1 is the largest
/// |residual| / (|b| + terms) over the equations where this sum is significant. Over the others, where the
/// terms are at the level of rounding beside the largest coefficients times the largest unknown, omega2
/// compares with these; equations of zeros with a zero right-hand side count as exact. Neither depends on the
/// scales of the equations. "Largest unknown" is taken in the scaled units and in the caller's, and the
/// smaller of the two counts, so that neither choice of units hides an error. Where digits of the scaled
/// matrix were lost, the residual counts as larger by what they may be.
/// @param system   its sums of magnitudes are found where they are not known yet
/// @param residual [order] out
/// @param terms    [order] work
/// Source: M. Arioli, J. W. Demmel and I. S. Duff, SIAM J. Matrix Anal. Appl. 10, 165 (1989).
double backward_error(System& system, bool transposed, const double* y, const double* b, double* residual,
                      double* terms);

}  // namespace corvidnum::solver
