#pragma once

// The driver of ma38ad_: permutes a matrix to block triangular form and factorises its diagonal blocks.

#include "sparse/ma38/matrix/matrix.h"
#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

struct DriverInput {
  int n, nz, ne;
  bool preserved;
  /// Preserved: stands below the space and is only read. Otherwise ai and ax begin at the bottom of the
  /// space, and the matrix is consumed.
  Columns matrix;
  const int* keep;
  const double* cntl;
  const int* icntl;
};

struct DriverOutcome {
  bool good;  // false: an error is set
  int nblks, nzoff;
};

/// Factorises the blocks and leaves the factors at the tails of the space, in this order from its top down:
/// seven words for the caller to fill, the permutations, row starts of the off-diagonal part, block starts
/// and block pointers (see FactorTop), the LU elements, and the off-diagonal part. Sets INFO and RINFO except
/// for the lengths that depend on where the caller puts a preserved matrix.
DriverOutcome ma38_factor_driver(const DriverInput& input, Space& space, const Results& results);

}  // namespace ma38
}  // namespace corvidnum
