#pragma once

// How well a solution solves a system.

#include <vector>

#include "examples/solve_mtx/matrix_market.h"

namespace solve_mtx {

/// The product of the matrix with `values` for its own, or of its transpose, and `x`.
std::vector<double> product(const Matrix& matrix, const std::vector<double>& values, bool transposed,
                            const std::vector<double>& x);

/// The largest |b - A x| / (|A| |x| + |b|) of a row. Rows of zeros do not count.
/// @param values, x, b  finite; neither their products nor sums of these need be
double scaled_residual(const Matrix& matrix, const std::vector<double>& values, bool transposed,
                       const std::vector<double>& x, const std::vector<double>& b);

}  // namespace solve_mtx
