#pragma once

#include "frame/export.h"

/// The straight line y = a + b x of least squares through a set of points.
/// @param x, y           [count] only read
/// @param count          2 or more
/// @param sigma          [count] standard deviation of each y, which gets the weight 1 / sigma^2; null: all
///                       points weigh the same. Only read; a zero is not caught
/// @param a, b           out: intercept, in the unit of y, and slope
/// @param sigmaA, sigmaB out: their standard deviations. Without `sigma` they come from the scatter of the
///                       points about the line; of two points, which have none, as if each y had 1
/// @param chiSquare      out: sum of the squared residuals, each divided by its sigma if there is one
/// @return 1; 0, and nothing is written: fewer than two points, or a null where an array or a result is due.
///         If all x are equal it is 1 and the results are not finite
/// Holds no state, allocates nothing. Source: the normal equations, with x taken from its mean.
CORVIDNUM_API unsigned char LineFit(double* x, double* y, unsigned int count, double* sigma, double* a,
                                    double* b, double* sigmaA, double* sigmaB, double* chiSquare);
