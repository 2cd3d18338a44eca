#pragma once

// Convection and diffusion on a square or a cube.

#include "tests/support/sparse_matrices.h"

namespace bench {

/// Central differences of -div grad u + v grad u + c u with u = 0 on the boundary, on a grid whose nodes are
/// numbered line by line. The flow v whirls around the middle, and in a cube drifts upwards besides.
/// @param dimensions 2: 5 places a row; 3: 7
/// @param side       nodes along each
/// @param step       another step has the same pattern and values that differ by some percent
/// @return order side^dimensions; no place is given twice
reference::Coordinates grid_matrix(int dimensions, int side, int step);

}  // namespace bench
