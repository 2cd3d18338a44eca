#pragma once

// What the drivers of both factorisations share: blocks of order 1, the off-diagonal part, results and
// errors.

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/front/block.h"

namespace corvidnum {
namespace ma38 {

/// Counts that a driver makes of the matrix.
struct DriverFigures {
  Wide n, nz, ne;
  bool preserved;
  Index nblks = 1;
  Wide nzoff = 0;    // entries in rows of earlier blocks
  Wide below = 0;    // entries in rows of later blocks, which are dropped
  Wide invalid = 0;  // entries dropped for want of a place in their block's pattern
  Index singletons = 0, usable_singletons = 0;  // blocks of order 1
};

/// Stores the pivot of a block of order 1 at the tail. A pivot that is zero, infinite or NaN, or has an
/// infinite reciprocal, becomes 1.0, so that a solve can go on, and is not counted in the rank. Returns its
/// place, or 0 after a shortage.
Index store_singleton(double pivot, Space& space, FactorTotals& totals, DriverFigures& figures,
                      const Results& results);

/// Writes the off-diagonal part of several blocks at the tails. Returns the number of entries below the
/// blocks, which are dropped, or -1 after a shortage.
Wide store_off_diagonal_part(const OffDiagonalInput& input, OneBased<int> offp, Space& space,
                             FactorTotals& totals, const DriverFigures& figures, const Results& results);

/// Sets INFO and RINFO, and the status: errors of length first, which exclude warnings.
void report_figures(Who who, const DriverFigures& figures, const FactorTop<int>& top, const Space& space,
                    const FactorTotals& totals, const int* icntl, const Results& results);

}  // namespace ma38
}  // namespace corvidnum
