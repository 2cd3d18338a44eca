#pragma once

// Matrices of convection and diffusion on a square or a cube.

#include "tests/support/sparse_matrices.h"

namespace bench {

/// Returns the matrix of central differences of -div grad u + v grad u + c u with u = 0 on the boundary, on a
/// grid whose nodes are numbered line by line. The flow v rotates about the middle; in a cube it also has an
/// upward component.
/// @param dimensions 2: 5 entries per row; 3: 7
/// @param side       nodes in each direction
/// @param step       another step has the same pattern and values that differ by some percent
/// @return a matrix of order side^dimensions; no entry is given twice
reference::Coordinates grid_matrix(int dimensions, int side, int step);

}  // namespace bench
