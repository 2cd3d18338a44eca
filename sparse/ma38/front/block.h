#pragma once

// A diagonal block to factorise.

#include "sparse/ma38/matrix/matrix.h"
#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

/// Figures over all blocks that ma38bd_'s needs come from.
struct FactorTotals {
  Wide maxl = 0, maxu = 0, elements = 0;
  Wide peak_reals = 0;  // for a refactorisation
  /// What that holds beside fronts: the entries, the copy to be preserved, the factors stored so far.
  Wide factor_reals = 0;
};

struct FrontControls {
  Index search_width, block_size;
  bool prefer_diagonal;
  double threshold, growth;
  Wide dense1, dense2;  // KEEP(7), KEEP(8)
  FrontControls(const int* keep, const double* cntl, const int* icntl);
};

/// A diagonal block to factorise.
struct Block {
  Index order;     // n of the block
  Index first;     // k1, its first position in the matrix
  bool preserved;  // else it lies at the head of the space and is consumed
  bool several;    // of several blocks: only row positions from `first` on belong to it
  Columns matrix;  // preserved: the whole matrix, of several blocks column k being cperm(k) of it. Not
                   // preserved: the block's own columns, rows local
  OneBased<int> rperm,
      cperm;  // the block's slices of the permutations: in, and composed with the pivot order on return
  OneBased<const int> row_position;  // [n of the matrix] inverse of RPERM; used if preserved and several
};

/// Makes column objects of the block at the heads and runs the kernel. On success the tails have the header
/// (space.itail) and the reals (space.xtail) of the block; header word 0 holds the position space.xtail; the
/// heads are the caller's to reset. nzoff grows by the entries above the block (preserved, several).
/// False: a shortage, flagged in `space`.
bool ma38_block_setup(const Block& block, Space& space, const FrontControls& controls, FactorTotals& totals,
                      Wide& nzoff, const Results& results);

}  // namespace ma38
}  // namespace corvidnum
