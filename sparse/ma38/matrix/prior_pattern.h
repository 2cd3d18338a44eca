#pragma once

// Entries of a matrix whose pivot order is known, grouped by the pivot at which a replay needs them.
//
// Entry (i, j) of P A Q takes part in the elimination first at pivot min(i, j). The entries with the same
// minimum k form arrow k: column k from the diagonal down and row k to its right.

#include "sparse/ma38/matrix/matrix.h"
#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

/// Views the arrows of one diagonal block. Arrow k stands at begin(k) .. begin(k-1)-1 of both arrays of the
/// space, and arrow 1 ends at end-1: the replay takes the arrows from k = 1 on and so frees the head from its
/// end down. A word is the row position, in the block, of an entry on or below the diagonal, or minus the
/// column position of an entry above it.
struct Arrows {
  OneBased<const int> begin;  // [order]
  Index end;
  Index end_of(Index k) const { return k == 1 ? end : begin(k - 1); }
};

/// Writes the inverse of `permutation` to `inverse` [n]. Returns false if it does not have each of 1..n once.
bool invert_permutation(OneBased<const int> permutation, OneBased<int> inverse);

/// Describes neighbouring blocks whose entries are to be grouped. Block b holds the positions blkp(b) ..
/// blkp(b+1)-1.
struct PatternInput {
  bool preserved;                    // if not, all blocks must be given, ai and ax must begin at place 1 of
                                     // the space, and the matrix is consumed
  Columns matrix;                    // by original columns, with original rows
  OneBased<const int> blkp;          // [blocks + 1], ascending, 1 .. n+1
  OneBased<const int> row_position;  // [n of the matrix] inverse of RPERM
  /// Exactly one of the two is given, [n of the matrix]. One block at a time: cperm. All blocks at once:
  /// column_position, the inverse of CPERM; the columns are then visited in storage order, because
  /// neighbouring columns mostly fill the same arrows, which are then still in the cache.
  OneBased<const int> cperm, column_position;
  OneBased<const int> block_number;  // of each position, beside column_position if there are several blocks
  const int* icntl;
};
/// Counts the entries outside the blocks.
struct PatternCounts {
  Wide above = 0;  // entries in rows of earlier blocks
  Wide below = 0;  // not preserved: entries below the blocks, each dropped and reported by kEntryBelowBlocks
};

/// Writes the arrows at the heads of the space. begin(k) is given for each position k of the blocks, where k
/// counts from 1 at blkp(1). The arrows of later blocks have higher addresses; those of the last one end at
/// the heads.
///
/// Not preserved: the matrix is at places 1..nz, and the heads are set to nz+1 on entry whatever they were.
/// On return the entries above the blocks are at places 1 .. counts.above, ap tells them by original column,
/// rows original, and the arrows follow. The needs fall by the entries that were dropped.
///
/// Preserved: the arrows begin at the heads; entries below the blocks are left out here and counted when the
/// off-diagonal part is made.
/// @return false after a shortage, which is flagged in `space`
bool ma38_prior_pattern(const PatternInput& input, OneBased<int> begin, Space& space, PatternCounts& counts,
                        const Results& results);

}  // namespace ma38
}  // namespace corvidnum
