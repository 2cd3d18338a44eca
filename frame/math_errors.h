#pragma once

// Math functions that report errors to the host, which may change the result. On valid input they return what
// the standard functions return; a NaN argument is not an error.

#include "frame/corvid.h"

namespace corvidnum {

/// Passes a filled record to the host, with the path of the library's file (empty without a module record).
/// @return the host's answer; non-zero means that the error is handled
int report_math_error(_exception* e);

/// Returns the square root of x. Below 0 it reports a domain error and returns NaN or what the host sets.
double checked_sqrt(double x);
/// Returns the decimal logarithm of x. At 0 it reports a singularity and returns minus infinity, below 0 it
/// reports a domain error and returns NaN, or in either case what the host sets.
double checked_log10(double x);

}  // namespace corvidnum
