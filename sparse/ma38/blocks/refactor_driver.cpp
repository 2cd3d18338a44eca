// The driver of ma38bd_.
//
//   1. Check that both orders are permutations, and group the entries by the pivot at which the replay needs
//      them (matrix/prior_pattern.h). The blocks of a preserved matrix are grouped one by one, when it is
//      their turn.
//   2. Replay the blocks, the last one first, as the factorisation did.
//   3. Make the pointers to reals relative to where the LU part begins.
//   4. Write the off-diagonal part.
//
// Step 1 also uses the room of RPERM and CPERM as work space, and restores both from their inverses, on
// errors too: after a failure the host can use the pattern again.

#include "sparse/ma38/blocks/refactor_driver.h"

#include <algorithm>
#include <cassert>

#include "sparse/ma38/blocks/driver_end.h"
#include "sparse/ma38/matrix/prior_pattern.h"
#include "sparse/ma38/replay/kernel.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Refactorises one matrix; run() calls the steps in their order.
class RefactorDriver {
 public:
  RefactorDriver(const RefactorInput& input, Space& space, const Results& results)
      : in_(input),
        n_(input.n),
        s_(space),
        results_(results),
        top_(input.index, input.index.size(), input.n),
        figures_{input.n, input.nz, input.ne, input.preserved, input.nblks} {}

  RefactorOutcome run();

 private:
  // Each returns false after a failure.
  bool group_entries();
  bool group_whole();
  bool group_consumed_blocks();
  bool group_all(OneBased<const int> blkp, OneBased<int> begin, OneBased<int> row_position);
  bool group_columns(OneBased<const int> blkp, OneBased<int> begin, OneBased<const int> row_position,
                     OneBased<const int> column_position);
  bool group(const PatternInput& input, OneBased<int> begin);
  bool replay_whole();
  bool replay_blocks();
  bool replay_block(Index b);
  bool replay_singleton(Index b);
  bool replay(Index header, Index first, Index order, OneBased<const int> begin, Index end);
  bool keep_off_diagonal_part();

  bool reserve_work(Index count, OneBased<int>& work);
  void release_work(Index count);
  bool invert_rows(OneBased<int> row_position);
  double find_preserved_pivot(Index position);
  double pop_consumed_pivot(Index begin);
  void make_pointers_relative();
  bool fail(int code) {
    ma38_set_info(kRefactor, in_.icntl, results_(MA38_INFO_STATUS), code, 0);
    return false;
  }

  bool several() const { return in_.nblks > 1; }
  OneBased<int> blkp() const { return top_.blkp(in_.nblks); }
  OneBased<int> lublkp() const { return top_.lublkp(in_.nblks); }
  OneBased<int> lu_words() const { return in_.index.part(in_.pattern, top_.first(in_.nblks) - in_.pattern); }
  /// Returns the vector that tells where arrows begin: of all positions, or, if the matrix is preserved and
  /// has several blocks, of those of the present block.
  OneBased<int> arrow_begin() const { return several() && !in_.preserved ? top_.offp() : in_.spare; }

  const RefactorInput& in_;
  const Index n_;
  Space& s_;
  const Results& results_;
  const FactorTop<int> top_;

  FactorTotals totals_;
  DriverFigures figures_;
};

RefactorOutcome RefactorDriver::run() {
  s_.set_heads(in_.preserved ? 1 : Index{in_.nz} + 1);
  totals_.peak_reals = 2 * Wide{in_.ne};
  totals_.factor_reals = (in_.preserved ? 2 : 1) * Wide{in_.nz};
  if (group_entries()) {
    if (!several()) {
      replay_whole();
    } else if (replay_blocks()) {
      make_pointers_relative();
      keep_off_diagonal_part();
    }
  }
  report_figures(kRefactor, figures_, top_, s_, totals_, in_.icntl, results_);
  return {results_(MA38_INFO_STATUS) >= 0, static_cast<Index>(figures_.nzoff)};
}

/// Reserves `count` words of work at the tail, which are part of the need until release_work(). Returns false
/// after a shortage, which is flagged.
bool RefactorDriver::reserve_work(Index count, OneBased<int>& work) {
  if (!s_.reserve_tail_ints(results_, count)) return false;
  s_.note_use(results_);
  work = s_.ints.part(s_.itail, count);
  return true;
}

void RefactorDriver::release_work(Index count) { s_.release_tail_ints(count); }

/// Writes the position of each row. Returns false, with the error set, if RPERM or CPERM is no permutation.
bool RefactorDriver::invert_rows(OneBased<int> row_position) {
  return (invert_permutation(top_.cperm(), row_position) && invert_permutation(top_.rperm(), row_position)) ||
         fail(MA38_STATUS_CORRUPTED);
}

bool RefactorDriver::group(const PatternInput& input, OneBased<int> begin) {
  PatternCounts counts;
  if (!ma38_prior_pattern(input, begin, s_, counts, results_)) return false;
  figures_.nzoff += counts.above;
  figures_.below += counts.below;
  return true;
}

/// Checks that both orders are permutations, and groups the entries of all blocks. The inverse of CPERM
/// stands in the room of RPERM meanwhile; RPERM is restored from its own inverse, row_position.
bool RefactorDriver::group_all(OneBased<const int> blkp, OneBased<int> begin, OneBased<int> row_position) {
  const OneBased<int> column_position = top_.rperm();
  if (!invert_permutation(top_.rperm(), row_position)) return fail(MA38_STATUS_CORRUPTED);
  const bool good = invert_permutation(top_.cperm(), column_position)
                        ? group_columns(blkp, begin, row_position, column_position)
                        : fail(MA38_STATUS_CORRUPTED);
  invert_permutation(row_position, top_.rperm());
  return good;
}

/// Groups the entries of all blocks. The numbers of the blocks stand in the room of CPERM meanwhile; it is
/// restored from its inverse, column_position.
bool RefactorDriver::group_columns(OneBased<const int> blkp, OneBased<int> begin,
                                   OneBased<const int> row_position, OneBased<const int> column_position) {
  const OneBased<const int> none(nullptr, 0);
  if (!several()) {
    return group({in_.preserved, in_.matrix, blkp, row_position, none, column_position, none, in_.icntl},
                 begin);
  }
  const OneBased<int> block_number = top_.cperm();
  for (Index b = 1; b <= in_.nblks; ++b) {
    std::fill_n(&block_number(blkp(b)), blkp(b + 1) - blkp(b), static_cast<int>(b));
  }
  const bool good = group(
      {in_.preserved, in_.matrix, blkp, row_position, none, column_position, block_number, in_.icntl}, begin);
  invert_permutation(column_position, top_.cperm());
  return good;
}

/// Groups all entries, but of a preserved matrix with several blocks only finds the positions of the rows.
bool RefactorDriver::group_entries() {
  if (!several()) return group_whole();
  return in_.preserved ? invert_rows(top_.offp().part(1, n_)) : group_consumed_blocks();
}

bool RefactorDriver::group_whole() {
  OneBased<int> work(nullptr, 0);
  if (!reserve_work(2 * n_, work)) return false;
  const OneBased<int> begin = work.part(1, n_), row_position = work.part(n_ + 1, n_);
  const int ends[] = {1, in_.n + 1};
  const bool good = group_all({ends, 2}, begin, row_position);
  if (good) std::copy_n(begin.data(), n_, in_.spare.data());
  release_work(2 * n_);
  return good;
}

bool RefactorDriver::group_consumed_blocks() {
  OneBased<int> row_position(nullptr, 0);
  if (!reserve_work(n_, row_position)) return false;
  const bool good = group_all(blkp(), arrow_begin(), row_position);
  release_work(n_);
  return good;
}

bool RefactorDriver::replay_whole() {
  if (!replay(1, 1, n_, arrow_begin(), s_.ihead)) return false;
  lu_words()(1 + kBlockReals) = 1;
  return true;
}

bool RefactorDriver::replay_blocks() {
  for (Index b = in_.nblks; b >= 1; --b) {
    const bool good = blkp()(b + 1) - blkp()(b) > 1 ? replay_block(b) : replay_singleton(b);
    if (!good) return false;
  }
  return true;
}

bool RefactorDriver::replay_block(Index b) {
  const Index k1 = blkp()(b), order = blkp()(b + 1) - k1;
  OneBased<int> begin = arrow_begin();
  if (!in_.preserved) {
    begin = begin.part(k1, order);
  } else {
    const OneBased<const int> none(nullptr, 0);
    const PatternInput input{true, in_.matrix, blkp().part(b, 2), top_.offp(), top_.cperm(),
                             none, none,       in_.icntl};
    if (!group(input, begin)) return false;
  }
  return replay(lublkp()(b), k1, order, begin, s_.ihead);
}

/// Replays one block.
/// @param header its first word among the LU elements
/// @param end    one place above its arrows
bool RefactorDriver::replay(Index header, Index first, Index order, OneBased<const int> begin, Index end) {
  const ReplayBlock block{order,
                          lu_words().from(header),
                          {begin, end},
                          top_.rperm().part(first, order),
                          top_.cperm().part(first, order),
                          std::max(1, ma38_icntl(in_.icntl, MA38_ICNTL_BLOCK_SIZE)),
                          in_.icntl};
  const ReplayOutcome outcome = ma38_refactor_kernel(block, s_, totals_, results_);
  figures_.invalid += outcome.invalid;
  if (outcome.failure == MA38_STATUS_PIVOT_ORDER_FAILED || outcome.failure == MA38_STATUS_CORRUPTED)
    return fail(outcome.failure);
  return outcome.failure == 0;  // a shortage is flagged in the space
}

bool RefactorDriver::replay_singleton(Index b) {
  const Index k = blkp()(b);
  const double pivot = in_.preserved ? find_preserved_pivot(k) : pop_consumed_pivot(arrow_begin()(k));
  const Index place = store_singleton(pivot, s_, totals_, figures_, results_);
  if (place > 0) lublkp()(b) = static_cast<int>(place);
  return place > 0;
}

/// Returns the pivot of a block of order 1, and counts the entries above it. Entries below it are left to
/// store_off_diagonal_part(), which reports and drops them.
double RefactorDriver::find_preserved_pivot(Index position) {
  const OneBased<const int> row_position = top_.offp();
  const Columns& m = in_.matrix;
  const Index j = top_.cperm()(position);
  double pivot = 0.0;
  for (Index p = m.ap(j); p < m.ap(j + 1); ++p) {
    const Index row = row_position(m.ai(p));
    if (row < position) ++figures_.nzoff;
    if (row == position) pivot = m.ax(p);
  }
  return pivot;
}

/// Returns the pivot of a block of order 1, 0 if it has no entry, and lowers the heads to its start.
double RefactorDriver::pop_consumed_pivot(Index begin) {
  if (s_.xhead == begin) return 0.0;
  const double pivot = s_.reals(begin);
  assert(s_.xhead == begin + 1 && s_.ihead == begin + 1);
  s_.shrink_heads(1);
  return pivot;
}

void RefactorDriver::make_pointers_relative() {
  const OneBased<int> words = lu_words();
  const int shift = static_cast<int>(1 - s_.xtail);
  for (Index b = 1; b <= in_.nblks; ++b) {
    const bool singleton = blkp()(b + 1) - blkp()(b) == 1;
    (singleton ? lublkp()(b) : words(lublkp()(b) + kBlockReals)) += shift;
  }
  if (in_.nblks == in_.n) words(1) = 0;  // the word that stands for the LU elements where there are none
}

bool RefactorDriver::keep_off_diagonal_part() {
  const OffDiagonalInput input{kRefactor,    in_.n,        in_.nblks, in_.preserved, in_.matrix,
                               top_.rperm(), top_.cperm(), blkp(),    in_.icntl};
  const Wide below = store_off_diagonal_part(input, top_.offp(), s_, totals_, figures_, results_);
  if (below > 0) figures_.below += below;
  return below >= 0;
}

}  // namespace

RefactorOutcome ma38_refactor_driver(const RefactorInput& input, Space& space, const Results& results) {
  return RefactorDriver(input, space, results).run();
}

}  // namespace ma38
}  // namespace corvidnum
