#pragma once

// Replays the eliminations of one diagonal block.

#include "sparse/ma38/front/block.h"
#include "sparse/ma38/matrix/prior_pattern.h"

namespace corvidnum {
namespace ma38 {

struct ReplayBlock {
  Index order;  // n of the block
  /// From the first word of the block's header to the end of the collection of LU elements, which have been
  /// found sound and apart. Word 0 of the header is written only.
  OneBased<int> pattern;
  Arrows arrows;
  OneBased<const int> rperm, cperm;  // [order] the block's slices
  Index block_size;                  // ICNTL(7), at least 1
  const int* icntl;
};

struct ReplayOutcome {
  int failure;   // 0, MA38_STATUS_PIVOT_ORDER_FAILED or MA38_STATUS_CORRUPTED; MA38_STATUS_INDEX_TOO_SHORT or
                 // MA38_STATUS_VALUE_TOO_SHORT: flagged in `space`
  Wide invalid;  // entries outside the pattern or of the dead part
};

/// The arrows stand on top of both heads. On success the block's reals begin at space.xtail, which is also
/// word 0 of the header, the arrows have left both needs, and both heads are where the arrows began. The
/// status is the caller's to set. After a failure too, the pattern can be replayed again: words that tell
/// where reals are have changed, and the order of the members of lists.
///
/// Of `totals` the caller sets factor_reals at first to what a refactorisation holds beside the factors.
ReplayOutcome ma38_refactor_kernel(const ReplayBlock& block, Space& space, FactorTotals& totals,
                                   const Results& results);

}  // namespace ma38
}  // namespace corvidnum
