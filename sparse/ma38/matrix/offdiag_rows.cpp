// The entries off the diagonal blocks, by rows.

#include <algorithm>

#include "sparse/ma38/matrix/matrix.h"

namespace corvidnum {
namespace ma38 {
namespace {

class OffDiagonalRows {
 public:
  OffDiagonalRows(const OffDiagonalInput& input, OneBased<int> offp, OneBased<int> offi,
                  OneBased<double> offx, OneBased<int> work)
      : in_(input), n_(input.n), offp_(offp), offi_(offi), offx_(offx), row_position_(work) {}

  void invert_rows() {
    for (Index k = 1; k <= n_; ++k) row_position_(in_.rperm(k)) = static_cast<int>(k);
  }
  /// Counts the entries of row i in offp(i). Returns the entries below the blocks.
  Wide count();
  /// Makes offp(i) the end of row i, which fill() brings down to its start.
  void sum() {
    int end = 1;
    for (Index i = 1; i <= n_; ++i) end = offp_(i) += end;
    offp_(n_ + 1) = end;
  }
  void fill();

 private:
  Index first(Index block) const { return in_.blkp(block); }
  Index last(Index block) const { return in_.blkp(block + 1) - 1; }
  /// All that is not preserved lies off the blocks.
  bool above(Index row, Index k1) const { return !in_.preserved || row < k1; }

  const OffDiagonalInput& in_;
  const Index n_;
  const OneBased<int> offp_, offi_;
  const OneBased<double> offx_;
  const OneBased<int> row_position_;
};

Wide OffDiagonalRows::count() {
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

/// Backward, from the ends of the rows, so that each row has ascending columns.
void OffDiagonalRows::fill() {
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
  const Wide below = rows.count();
  rows.sum();
  rows.fill();
  return below;
}

}  // namespace ma38
}  // namespace corvidnum
