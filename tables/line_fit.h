#pragma once

/// @file
/// A straight line through points.

#include "frame/export.h"

/// Fits the straight line y = a + b x to a set of points by weighted least squares. Keeps no state and
/// allocates nothing.
/// @param x, y           [count] only read
/// @param count          number of points, 2 or more
/// @param sigma          [count] standard deviation of each y, whose weight is 1 / sigma^2; null: equal
///                       weights. Only read; a zero is not caught
/// @param a, b           out: intercept, in the unit of y, and slope, in units of y per x
/// @param sigmaA, sigmaB out: their standard deviations. Without `sigma` they are estimated from the scatter
///                       of the points about the line; with two points, which have no scatter, the standard
///                       deviation of each y is taken as 1
/// @param chiSquare      out: sum of the squared residuals, each divided by its sigma if there is one
/// @return 1; 0, and nothing is written, if there are fewer than two points or a pointer other than `sigma`
///         is null. If all x are equal the result is 1 and the outputs are not finite
///
/// Source: linear regression by the normal equations, e.g. Draper and Smith, Applied Regression Analysis.
CORVIDNUM_API unsigned char LineFit(double* x, double* y, unsigned int count, double* sigma, double* a,
                                    double* b, double* sigmaA, double* sigmaB, double* chiSquare);
