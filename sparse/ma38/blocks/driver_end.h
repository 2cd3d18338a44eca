#pragma once

// How the drivers of both factorisations end: the off-diagonal part, the figures, the errors.

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/front/block.h"

namespace corvidnum {
namespace ma38 {

/// What a driver has found out about the matrix.
struct DriverFigures {
  Wide n, nz, ne;
  bool preserved;
  Index nblks = 1;
  Wide nzoff = 0;                               // entries in rows of earlier blocks
  Wide below = 0;                               // entries in rows of later blocks: dropped
  Wide invalid = 0;                             // entries without a place in a block's pattern: dropped
  Index singletons = 0, usable_singletons = 0;  // blocks of order 1
};

/// Takes `count` reals at the tail. False: a shortage.
bool take_reals(Space& space, Wide count, const Results& results);

/// The pivot of a block of order 1, which goes to the real tail; one that is zero, infinite, NaN or has an
/// infinite reciprocal becomes 1.0, so that the solution can go on. Returns its place; 0: a shortage.
Index store_singleton(double pivot, Space& space, FactorTotals& totals, DriverFigures& figures,
                      const Results& results);

/// The off-diagonal part at the tails, of several blocks. Returns the entries below the blocks, -1 after a
/// shortage.
Wide store_off_diagonal_part(const OffDiagonalInput& input, OneBased<int> offp, Space& space,
                             FactorTotals& totals, const DriverFigures& figures, const Results& results);

/// INFO, RINFO and the status, shortages first.
void report_figures(Who who, const DriverFigures& figures, const FactorTop<int>& top, const Space& space,
                    const FactorTotals& totals, const int* icntl, const Results& results);

}  // namespace ma38
}  // namespace corvidnum
