#pragma once

// Pictures of where a matrix has entries.

#include <string>
#include <vector>

#include "apps/solve/matrix_market.h"

namespace solve {

/// Above so many rows a dot stands for all entries of a square.
constexpr int kMostDotsAcross = 1000;

/// Returns the pattern as SVG, a dot for each place with entries, rows and columns numbered alike.
/// @param numbering  the place, from 1, of each unknown in the picture; empty if they stay as they are
/// @param caption    one line; no markup
std::string spy_svg(const Matrix& matrix, const std::vector<int>& numbering, const std::string& caption);

}  // namespace solve
