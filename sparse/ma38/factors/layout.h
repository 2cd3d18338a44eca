#pragma once

// Where the factors stand in INDEX and VALUE. docs/multifrontal-store.md has an example with every number.

#include "sparse/ma38/report/results.h"

namespace corvidnum {
namespace ma38 {

/// Views the words at the top of INDEX that the factors end with, the last one being KEEP(5):
///   | block pointers | block starts | row starts of the  | column | row   | TRANSA, NZOFF, NBLKS, |
///   | NBLKS (LUblkp) | NBLKS+1      | off-diagonal part  | perm.  | perm. | JOB, NZ, N, NE        |
///   |                | (Blkp)       | N+1 (Offp)         | N      | N     |                       |
///   |       only if NBLKS > 1                            |                                        |
/// Int is `int` or `const int`.
template <class Int>
class FactorTop {
 public:
  /// @param end KEEP(5), in positions of `index`
  FactorTop(OneBased<Int> index, Index end, Index n) : index_(index), end_(end), n_(n) {}

  Int& ne() const { return index_(end_); }
  Int& order() const { return index_(end_ - 1); }
  Int& nz() const { return index_(end_ - 2); }
  Int& preserved() const { return index_(end_ - 3); }  // JOB: 1 or 0
  Int& nblks() const { return index_(end_ - 4); }
  Int& nzoff() const { return index_(end_ - 5); }
  Int& transa() const { return index_(end_ - 6); }
  OneBased<Int> rperm() const { return index_.part(end_ - n_ - 6, n_); }
  OneBased<Int> cperm() const { return index_.part(end_ - 2 * n_ - 6, n_); }
  OneBased<Int> offp() const { return index_.part(end_ - 3 * n_ - 7, n_ + 1); }
  OneBased<Int> blkp(Index nblks) const { return index_.part(end_ - 3 * n_ - 8 - nblks, nblks + 1); }
  OneBased<Int> lublkp(Index nblks) const { return index_.part(end_ - 3 * n_ - 8 - 2 * nblks, nblks); }
  /// Returns the number of words that these parts take.
  static Wide length(Wide n, Wide nblks) { return nblks > 1 ? 3 * n + 9 + 2 * nblks : 2 * n + 7; }
  Index first(Index nblks) const { return end_ + 1 - static_cast<Index>(length(n_, nblks)); }

 private:
  OneBased<Int> index_;
  Index end_, n_;
};

/// The header of a factorised block and its LU elements, `h` being the position of its first word:
///   | reals | NLU | NPIV | longest L list | longest U list | NLU pointers | LU elements |
/// A pointer gives the first word of an LU element; 1 is the word behind the pointers. `reals` gives the
/// block's first real; 1 is the first of the LU part of VALUE.
enum BlockWord {
  kBlockReals = 0,
  kBlockElements = 1,
  kBlockPivots = 2,
  kBlockMaxL = 3,
  kBlockMaxU = 4,
  kBlockPointers = 5
};

/// An LU element:
///   | reals | K | U length | L length | children | front columns | front rows | L list | U list | children |
/// `reals` gives the element's first real; 1 is the first of the block. Its reals are K columns of K + L
/// length each, the pivot block above L, and then K reals for each column of the U list. A chain is the
/// elements of one front: the first of them has the largest numbers of columns and rows of the front, pivots
/// included, the others have 0. Members of the lists are pivot positions in the block.
enum ElementWord {
  kElementReals = 0,
  kElementPivots = 1,
  kElementU = 2,
  kElementL = 3,
  kElementChildren = 4,
  kFrontColumns = 5,
  kFrontRows = 6,
  kElementLists = 7
};
/// Returns the number of reals of an LU element.
inline Wide element_reals(Wide pivots, Wide l_length, Wide u_length) {
  return (pivots + l_length + u_length) * pivots;
}

/// How the front assembled a child, that is, the contribution block of an earlier LU element: as a whole; the
/// columns that lay in the front, all its rows being there (rows complete); or the rows that lay in the
/// front, all its columns being there. The word of child e is e + kind * (order of the block).
enum ChildKind { kWhole = 0, kRowsComplete = 1, kColumnsComplete = 2 };

}  // namespace ma38
}  // namespace corvidnum
