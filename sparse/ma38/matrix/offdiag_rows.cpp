// The entries off the diagonal blocks, by rows: a counting sort by rows of a matrix that is stored by
// columns.
//
//   1. Invert the row permutation.
//   2. Count the entries of each row that lie in an earlier block than their column.
//   3. Turn the counts into the ends of the rows.
//   4. Visit the columns backwards and put each entry at the end of what is free in its row.
//
// Step 4 leaves the columns of each row in ascending order. A solve sums them in this order, so it fixes
// rounding.

#include <algorithm>

#include "sparse/ma38/matrix/matrix.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Sorts the entries; the members are its steps in their order.
class OffDiagonalRows {
 public:
  OffDiagonalRows(const OffDiagonalInput& input, OneBased<int> offp, OneBased<int> offi,
                  OneBased<double> offx, OneBased<int> work)
      : in_(input), n_(input.n), offp_(offp), offi_(offi), offx_(offx), row_position_(work) {}

  void invert_rows() {
    for (Index k = 1; k <= n_; ++k) row_position_(in_.rperm(k)) = static_cast<int>(k);
  }
  /// Counts the entries of row i in offp(i). Returns the entries below the blocks, which are dropped.
  Wide count_entries();
  /// Makes offp(i) the end of row i; fill_rows() brings it down to the start.
  void find_ends() {
    int end = 1;
    for (Index i = 1; i <= n_; ++i) end = offp_(i) += end;
    offp_(n_ + 1) = end;
  }
  void fill_rows();

 private:
  Index first(Index block) const { return in_.blkp(block); }
  Index last(Index block) const { return in_.blkp(block + 1) - 1; }
  /// Returns whether the entry lies above the block that begins at k1. If the matrix is not preserved, only
  /// such entries are given.
  bool above(Index row, Index k1) const { return !in_.preserved || row < k1; }

  const OffDiagonalInput& in_;
  const Index n_;
  const OneBased<int> offp_, offi_;
  const OneBased<double> offx_;
  const OneBased<int> row_position_;
};

Wide OffDiagonalRows::count_entries() {
  Wide below = 0;
  std::fill_n(offp_.data(), n_ + 1, 0);
  const Columns& m = in_.matrix;
  for (Index b = 1; b <= in_.nblks; ++b) {
    const Index k1 = first(b), k2 = last(b);
    for (Index k = k1; k <= k2; ++k) {
      const Index j = in_.cperm(k);
      for (Index p = m.ap(j); p < m.ap(j + 1); ++p) {
        const Index row = row_position_(m.ai(p));
        if (above(row, k1)) {
          ++offp_(row);
        } else if (row > k2 && in_.who == kRefactor) {
          report_dropped(in_.who, in_.icntl, kEntryBelowBlocks, m.ai(p), in_.cperm(k), m.ax(p));
          ++below;
        }
      }
    }
  }
  return below;
}

void OffDiagonalRows::fill_rows() {
  const Columns& m = in_.matrix;
  for (Index b = in_.nblks; b >= 1; --b) {
    const Index k1 = first(b);
    for (Index k = last(b); k >= k1; --k) {
      const Index j = in_.cperm(k);
      for (Index p = m.ap(j + 1) - 1; p >= m.ap(j); --p) {
        const Index row = row_position_(m.ai(p));
        if (!above(row, k1)) continue;
        const Index place = --offp_(row);
        offi_(place) = static_cast<int>(k);
        offx_(place) = m.ax(p);
      }
    }
  }
}

}  // namespace

Wide ma38_offdiag_rows(const OffDiagonalInput& input, OneBased<int> offp, OneBased<int> offi,
                       OneBased<double> offx, OneBased<int> work) {
  OffDiagonalRows rows(input, offp, offi, offx, work);
  rows.invert_rows();
  const Wide below = rows.count_entries();
  rows.find_ends();
  rows.fill_rows();
  return below;
}

}  // namespace ma38
}  // namespace corvidnum
