#pragma once

// Words for a singular matrix: which of its equations and unknowns are at fault.

#include <string>

#include "sparse/sparse_solver.h"

namespace solve {

/// Names the equations and unknowns, counted from 1, that a singular system has too many, and the sizes of
/// its over- and under-determined parts; or those that elimination leaves without a pivot. Of many it names
/// the first ten.
/// @param solver      has found its matrix to be singular; indices count from 1
/// @param transposed  the system is that of the transpose, whose equations are the columns of the matrix
std::string describe_singularity(corvidnum::SparseSolver& solver, bool transposed);

}  // namespace solve
