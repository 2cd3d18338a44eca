#pragma once

// Factorisation of all diagonal blocks of a matrix given by columns.

#include "sparse/ma38/matrix/matrix.h"
#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

struct DriverInput {
  int n, nz, ne;
  bool preserved;
  /// Preserved: below the space, only read. Else ai and ax are the bottom of the space, and all is consumed.
  Columns matrix;
  const int* keep;
  const double* cntl;
  const int* icntl;
};

struct DriverOutcome {
  bool good;  // false: an error is set
  int nblks, nzoff;
};

/// Factorises, and leaves at the tops of the space, from its tails on: block pointers, block starts, row
/// starts of the off-diagonal part and the permutations, seven words that are the caller's to fill, and below
/// them the LU elements, below these the off-diagonal part. Sets INFO and RINFO but for the lengths that the
/// factors take at last.
DriverOutcome ma38_factor_driver(const DriverInput& input, Space& space, const Results& results);

}  // namespace ma38
}  // namespace corvidnum
