// The driver of ma38ad_.
//
//   1. Reserve the permutations and seven words at the top of the space.
//   2. If asked for, permute to block triangular form; with several blocks, keep their starts at the top.
//   3. Factorise the blocks, the last one first.
//   4. Make the pointers to blocks relative: count them from where the LU elements begin, not from the space.
//   5. Write the off-diagonal part below the LU elements.
//
// The order of step 3 serves the store: a matrix that is not preserved stands at the head, block by block, so
// that the last block is the uppermost and its words are free once it is done.
//
// Invariant: s_.ineed and s_.xneed count the words in use without garbage, whatever happens to head and tail.

#include "sparse/ma38/blocks/factor_driver.h"

#include <algorithm>
#include <cassert>

#include "sparse/ma38/blocks/driver_end.h"
#include "sparse/ma38/matrix/btf_permute.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Factorises one matrix; run() calls the steps in their order.
class FactorDriver {
 public:
  FactorDriver(const DriverInput& input, Space& space, const Results& results)
      : in_(input),
        n_(input.n),
        nz_(input.nz),
        s_(space),
        results_(results),
        controls_(input.keep, input.cntl, input.icntl),
        top_(space.ints, space.ints.size(), input.n),
        figures_{input.n, input.nz, input.ne, input.preserved} {}

  DriverOutcome run();

 private:
  // Each returns false after a shortage.
  bool reserve_top();
  bool permute_to_blocks();
  bool factor_whole();
  bool factor_blocks();
  bool factor_block(Index b);
  bool factor_singleton(Index b);
  bool keep_off_diagonal_part();

  void keep_block_pointers();
  double find_preserved_pivot(Index position);
  double pop_consumed_pivot(Index begin);
  void make_pointers_relative();

  int& consumed_start(Index position) const { return top_.offp()(position); }

  const DriverInput& in_;
  const Index n_, nz_;
  Space& s_;
  const Results& results_;
  const FrontControls controls_;
  const FactorTop<int> top_;

  FactorTotals totals_;
  DriverFigures figures_;
  Index& nblks_ = figures_.nblks;
};

DriverOutcome FactorDriver::run() {
  s_.set_heads(in_.preserved ? 1 : nz_ + 1);
  totals_.peak_reals = 2 * Wide{in_.ne};
  // What a refactorisation of this matrix will hold: the entries, a copy of them if they are preserved, the
  // factors.
  totals_.factor_reals = (in_.preserved ? 2 : 1) * Wide{nz_};
  if (reserve_top() && permute_to_blocks()) {
    if (nblks_ == 1) {
      factor_whole();
    } else if (factor_blocks()) {
      make_pointers_relative();
      keep_off_diagonal_part();
    }
  }
  report_figures(kFactor, figures_, top_, s_, totals_, in_.icntl, results_);
  return {results_(MA38_INFO_STATUS) >= 0, static_cast<int>(nblks_), static_cast<int>(figures_.nzoff)};
}

bool FactorDriver::reserve_top() {
  if (!s_.reserve_tail_ints(results_, FactorTop<int>::length(n_, 1))) return false;
  s_.note_use(results_);
  return true;
}

bool FactorDriver::permute_to_blocks() {
  if (OneBased<const int>(in_.icntl, MA38_ICNTL_LENGTH)(MA38_ICNTL_USE_BLOCKS) == 1) {
    const Index copied = in_.preserved ? 0 : nz_;  // permuting in place takes the matrix once more
    const Wide work = btf_work(n_), reserved = n_ + 1 + work;
    const bool ints = s_.reserve_tail_ints(results_, reserved) && s_.has_ints(results_, copied);
    if (!s_.has_reals(results_, copied) || !ints) return false;
    s_.grow_heads(copied);
    s_.note_use(results_);
    const OneBased<int> offp = top_.offp();
    const BlockForm form = ma38_btf_permute(in_.matrix, n_, nz_, in_.preserved, top_.rperm(), top_.cperm(),
                                            offp, s_.ints.part(s_.itail, static_cast<Index>(work)));
    s_.shrink_heads(copied);
    s_.release_tail_ints(static_cast<Index>(reserved));
    nblks_ = form.nblks;
    figures_.nzoff = form.nzoff;
  }
  if (nblks_ > 1) keep_block_pointers();
  return true;
}

/// Keeps, of the words that the permutation worked in, the row starts, block starts and block pointers.
void FactorDriver::keep_block_pointers() {
  s_.reserve_tail_ints(results_, s_.itail - top_.first(nblks_));  // there is room
}

bool FactorDriver::factor_whole() {
  const Block block{n_, 1, in_.preserved, false, in_.matrix, top_.rperm(), top_.cperm(), {nullptr, 0}};
  if (!ma38_block_setup(block, s_, controls_, totals_, figures_.nzoff, results_)) return false;
  s_.set_heads(1);
  s_.ints(s_.itail + kBlockReals) = 1;
  return true;
}

bool FactorDriver::factor_blocks() {
  const OneBased<int> blkp = top_.blkp(nblks_);
  for (Index b = nblks_; b >= 1; --b) {
    const bool good = blkp(b + 1) - blkp(b) > 1 ? factor_block(b) : factor_singleton(b);
    if (!good) return false;
  }
  return true;
}

bool FactorDriver::factor_block(Index b) {
  const Index k1 = top_.blkp(nblks_)(b), order = top_.blkp(nblks_)(b + 1) - k1;
  Columns matrix = in_.matrix;
  Index start = 1;
  if (!in_.preserved) {
    start = consumed_start(k1);
    consumed_start(k1 + order) = static_cast<int>(s_.xhead);
    matrix.ap = top_.offp().part(k1, order + 1);
  }
  const Block block{order,
                    k1,
                    in_.preserved,
                    true,
                    matrix,
                    top_.rperm().part(k1, order),
                    top_.cperm().part(k1, order),
                    top_.offp().part(1, n_)};
  if (!ma38_block_setup(block, s_, controls_, totals_, figures_.nzoff, results_)) return false;
  s_.set_heads(start);
  top_.lublkp(nblks_)(b) = static_cast<int>(s_.itail);
  return true;
}

bool FactorDriver::factor_singleton(Index b) {
  const Index k = top_.blkp(nblks_)(b);
  const double pivot = in_.preserved ? find_preserved_pivot(k) : pop_consumed_pivot(consumed_start(k));
  const Index place = store_singleton(pivot, s_, totals_, figures_, results_);
  top_.lublkp(nblks_)(b) = -static_cast<int>(place);
  return place > 0;
}

/// Returns the pivot of a block of order 1, 0 if it has no entry, and counts the entries above it.
double FactorDriver::find_preserved_pivot(Index position) {
  const OneBased<const int> row_position = top_.offp();
  const Columns& m = in_.matrix;
  const Index j = top_.cperm()(position);
  double pivot = 0.0;
  for (Index p = m.ap(j); p < m.ap(j + 1); ++p) {
    if (row_position(m.ai(p)) < position) {
      ++figures_.nzoff;
    } else {
      pivot = m.ax(p);
    }
  }
  return pivot;
}

/// Returns the pivot of a block of order 1, 0 if it has no entry, and lowers the heads to its start.
double FactorDriver::pop_consumed_pivot(Index begin) {
  if (s_.xhead == begin) return 0.0;
  const double pivot = in_.matrix.ax(begin);
  assert(s_.xhead == begin + 1 && s_.ihead == begin + 1);
  s_.shrink_heads(1);
  return pivot;
}

void FactorDriver::make_pointers_relative() {
  const OneBased<int> pointers = top_.lublkp(nblks_);
  const int ints = static_cast<int>(1 - s_.itail), reals = static_cast<int>(1 - s_.xtail);
  for (Index b = 1; b <= nblks_; ++b) {
    if (pointers(b) > 0) {
      s_.ints(pointers(b) + kBlockReals) += reals;
      pointers(b) += ints;
    } else {
      pointers(b) = reals - pointers(b);
    }
  }
}

bool FactorDriver::keep_off_diagonal_part() {
  // If all blocks have order 1, one word stands for the LU elements, so that their part is never empty and
  // KEEP(4) always names a word of it.
  if (nblks_ == n_) {
    if (!s_.reserve_tail_ints(results_, 1)) return false;
    s_.ints(s_.itail) = 0;
  }
  const OffDiagonalInput input{
      kFactor,      in_.n,        static_cast<int>(nblks_), in_.preserved, in_.matrix,
      top_.rperm(), top_.cperm(), top_.blkp(nblks_),        in_.icntl};
  return store_off_diagonal_part(input, top_.offp(), s_, totals_, figures_, results_) >= 0;
}

}  // namespace

DriverOutcome ma38_factor_driver(const DriverInput& input, Space& space, const Results& results) {
  return FactorDriver(input, space, results).run();
}

}  // namespace ma38
}  // namespace corvidnum
