#pragma once

// Entries of a matrix with known pivot positions, grouped for a replay of the eliminations.

#include "sparse/ma38/matrix/matrix.h"
#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

/// The entries of one diagonal block by the earlier of their two pivot positions. Arrow k stands at
/// begin(k) .. begin(k-1)-1 of both arrays of the space, that of k = 1 ends at end-1; so what the replay
/// takes first lies on top. A word is the local row position of an entry of L (or of the pivot), or minus the
/// local column position of an entry of U.
struct Arrows {
  OneBased<const int> begin;  // [order]
  Index end;
  Index first_of(Index k) const { return begin(k); }
  Index end_of(Index k) const { return k == 1 ? end : begin(k - 1); }
};

/// Whether `permutation` has each of 1..n once; then `inverse` [n] is its inverse.
bool invert_permutation(OneBased<const int> permutation, OneBased<int> inverse);

/// Neighbouring blocks whose entries are to be grouped: block b holds positions blkp(b) .. blkp(b+1)-1.
struct PatternInput {
  bool preserved;                    // else all blocks are given, and the matrix at the head of the space
                                     // is consumed: its `ap` and `ai`, `ax` from place 1 of the space on
  Columns matrix;                    // by original columns, with original rows
  OneBased<const int> blkp;          // [blocks + 1], ascending, 1 .. n+1
  OneBased<const int> row_position;  // [n of the matrix] inverse of RPERM
  /// One of the two is empty, [n of the matrix] each. The inverse of CPERM is there if all blocks are given:
  /// the columns are visited as they stand then, whose entries go to the same few arrows, mostly, as those of
  /// their neighbours.
  OneBased<const int> cperm, column_position;
  OneBased<const int> block_number;  // of each position, beside `column_position` if there are several blocks
  const int* icntl;
};
struct PatternCounts {
  Wide above = 0;  // entries in rows of earlier blocks
  Wide below = 0;  // not preserved: entries below the blocks, each reported by code 96 and dropped
};

/// Makes arrows at the heads of the space: begin(k) for each position k of the blocks, counted from blkp(1)
/// as 1; those of the last block end where the heads then are. The blocks' arrows have ascending addresses.
///
/// Not preserved: the heads are at nz+1 (or wherever, they are set), the matrix is at places 1..nz. On return
/// the entries above the blocks are at places 1 .. above, `ap` tells them by ORIGINAL column, rows original,
/// and the arrows follow. The needs follow the heads: entries dropped leave them.
/// Preserved: the arrows begin at the heads; entries below are passed over.
/// False: a shortage, flagged in `space`.
bool ma38_prior_pattern(const PatternInput& input, OneBased<int> begin, Space& space, PatternCounts& counts,
                        const Results& results);

}  // namespace ma38
}  // namespace corvidnum
