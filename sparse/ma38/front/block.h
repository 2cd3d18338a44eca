#pragma once

// What the frontal kernel is given, one diagonal block and its controls, and the figures that it adds to.

#include "sparse/ma38/matrix/matrix.h"
#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

/// Collects the figures over all blocks from which the lengths that ma38bd_ needs are computed.
struct FactorTotals {
  Wide maxl = 0, maxu = 0;  // lengths of the longest L list and the longest U list
  Wide elements = 0;        // LU elements
  Wide peak_reals = 0;      // most reals that a refactorisation holds at once
  Wide factor_reals = 0;  // of these, outside of fronts: entries, their copy if the matrix is preserved, and
                          // the factors stored so far
};

/// Holds the controls of the frontal kernel.
struct FrontControls {
  Index search_width;    // ICNTL(5), at least 1: columns examined in a pivot search
  Index block_size;      // ICNTL(7), at least 1: pivots whose updates are applied at once
  bool prefer_diagonal;  // ICNTL(6)
  double threshold;      // CNTL(1), 0..1, of the pivot test
  double growth;         // CNTL(2), at least 1: limit of a front's dimensions, relative to its first pivot's
  Wide dense1, dense2;   // KEEP(7), KEEP(8)
  FrontControls(const int* keep, const double* cntl, const int* icntl);
};

/// Describes a diagonal block to factorise. Positions in the matrix and in the block count from 1.
struct Block {
  Index order;     // n of the block
  Index first;     // position of its first row and column in the matrix
  bool preserved;  // the matrix is only read; if not, it stands at the head of the space and is consumed
  bool several;    // the matrix has several blocks: only row positions from `first` on belong to this one
  Columns matrix;  // preserved: the whole matrix; if it has several blocks, column k of this one is column
                   // cperm(k) of it. Not preserved: the block's own columns, with rows counted from its first
  /// [order] The block's slices of the permutations: original rows and columns. On return they are composed
  /// with the pivot order.
  OneBased<int> rperm, cperm;
  OneBased<const int> row_position;  // [n of the matrix] inverse of RPERM; used if preserved and several
};

/// Makes column objects of the block at the heads and runs the kernel. On success the block's header begins
/// at space.itail and its reals at space.xtail, which is also word 0 of the header; the caller must reset the
/// heads.
/// @param nzoff in, out: grows by the entries above the block if the matrix is preserved and has several
///              blocks
/// @return false after a shortage, which is flagged in `space`
bool ma38_block_setup(const Block& block, Space& space, const FrontControls& controls, FactorTotals& totals,
                      Wide& nzoff, const Results& results);

}  // namespace ma38
}  // namespace corvidnum
