#pragma once

namespace corvidnum {

/// Orders points by ascending x. Only strict comparisons exchange, so those of equal x keep their order, and
/// a NaN stays where it is: the stretches between NaNs are ordered each for themselves. Borrows memory for
/// half the points; if it is refused, the same comes out more slowly.
/// @param x, y [n]
void sort_points(double* x, double* y, int n);

}  // namespace corvidnum
