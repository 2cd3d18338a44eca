#pragma once

// The replay of the eliminations of one diagonal block on new values.

#include "sparse/ma38/front/block.h"
#include "sparse/ma38/matrix/prior_pattern.h"

namespace corvidnum {
namespace ma38 {

/// Describes a block to replay.
struct ReplayBlock {
  Index order;  // n of the block
  /// The words from the block's header to the end of the LU elements of all blocks. They must have passed
  /// elements_are_sound() and elements_are_apart(). Word 0 of the header is written and never read.
  OneBased<int> pattern;
  Arrows arrows;                     // the block's entries, on top of both heads
  OneBased<const int> rperm, cperm;  // [order] the block's slices
  Index block_size;                  // ICNTL(7), at least 1
  const int* icntl;
};

/// Tells how a replay ended.
struct ReplayOutcome {
  /// 0; MA38_STATUS_PIVOT_ORDER_FAILED or MA38_STATUS_CORRUPTED; or MA38_STATUS_INDEX_TOO_SHORT or
  /// MA38_STATUS_VALUE_TOO_SHORT, which are flagged in the space.
  int failure;
  Wide invalid;  // entries dropped: outside the pattern, or in rows and columns without a pivot
};

/// Factorises the block with the pivot order of its pattern. On success the block's reals begin at
/// space.xtail, which is also word 0 of the header; the arrows have left both needs, and both heads are where
/// the arrows began. The caller sets the status. After a failure the pattern can be replayed again: only the
/// order of the members of lists and the words that tell where reals are have changed.
/// @param totals in, out. Before the first block the caller sets factor_reals to what a refactorisation holds
///               beside the factors
ReplayOutcome ma38_refactor_kernel(const ReplayBlock& block, Space& space, FactorTotals& totals,
                                   const Results& results);

}  // namespace ma38
}  // namespace corvidnum
