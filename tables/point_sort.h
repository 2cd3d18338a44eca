#pragma once

namespace corvidnum {

/// Sorts points by ascending x; the sort is stable. A NaN in x keeps its place, and each stretch between NaNs
/// is sorted by itself. Allocates a buffer for half the points; if that is refused, the result is the same
/// but takes longer.
/// @param x, y [n] in and out: the coordinates; y moves with its x
void sort_points(double* x, double* y, int n);

}  // namespace corvidnum
