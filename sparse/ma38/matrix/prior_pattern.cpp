// The entries of a matrix are grouped by the pivot at which a replay needs them: a counting sort by arrows.
//
//   1. Count the entries of each arrow, and those above and below the blocks.
//   2. Turn the counts into the ends of the arrows.
//   3. Visit the entries again, and put each one at the end of what is free in its arrow.
//
// A matrix that is not preserved gives way to its own arrows. They need a second copy of the entries for a
// while: step 3 writes them `shift` places above their own, while the entries above the blocks move to the
// front, and then they come down in one piece. The order of the entries within an arrow fixes the rounding of
// the replay where it adds them to others; it follows from the order of the visits.

#include "sparse/ma38/matrix/prior_pattern.h"

#include <algorithm>
#include <cassert>

namespace corvidnum {
namespace ma38 {
namespace {

/// Groups the entries; count(), sum() and one of the fills run in this order.
class ArrowMaker {
 public:
  ArrowMaker(const PatternInput& input, OneBased<int> begin, PatternCounts& counts)
      : in_(input), matrix_(input.matrix), first_(input.blkp(1)), begin_(begin), counts_(counts) {}

  /// Counts the entries of arrow k in begin(k). Returns their sum.
  Wide count();
  /// Makes begin(k) the end of arrow k; the fills bring it down to the start.
  void sum(Index start);
  /// Writes the arrows.
  void fill(const Space& space) const;
  /// Writes the arrows of a matrix that is not preserved `shift` places above their own, and moves the
  /// entries above the blocks down to place 1, by original columns.
  void fill_and_pack(const Space& space, Index shift) const;

 private:
  struct Range {
    Index first, last;
    bool has(Index position) const { return first <= position && position <= last; }
  };
  struct Target;
  Target target(const Space& space, Index shift) const;
  Index blocks() const { return in_.blkp.size() - 1; }
  Range block(Index b) const { return {in_.blkp(b), in_.blkp(b + 1) - 1}; }
  /// Returns the block of a position. `near`, the block of the last one asked for, saves the look-up mostly.
  Range block_of(Index position, const Range& near) const;
  void report_below(Index p) const;
  /// Calls visit(j, column, block) for each column: its number, its position, and the range of its block.
  template <class Visit>
  void each_column(Visit visit) const;

  const PatternInput& in_;
  const Columns& matrix_;
  const Index first_;
  const OneBased<int> begin_;
  PatternCounts& counts_;
};

template <class Visit>
void ArrowMaker::each_column(Visit visit) const {
  Range range = block(1);
  for (Index j = 1; j <= in_.column_position.size(); ++j) {
    const Index column = in_.column_position(j);
    range = block_of(column, range);
    visit(j, column, range);
  }
  if (in_.column_position.size() > 0) return;
  for (Index b = 1; b <= blocks(); ++b) {
    range = block(b);
    for (Index column = range.first; column <= range.last; ++column) visit(in_.cperm(column), column, range);
  }
}

ArrowMaker::Range ArrowMaker::block_of(Index position, const Range& near) const {
  return near.has(position) ? near : block(in_.block_number(position));
}

Wide ArrowMaker::count() {
  std::fill_n(begin_.data(), in_.blkp(in_.blkp.size()) - first_, 0);
  Wide above = 0, below = 0, entries = 0;
  const OneBased<int> count = begin_;
  const OneBased<const int> position = in_.row_position;
  const OneBased<const int> rows = matrix_.ai;
  each_column([&](Index j, Index column, const Range& range) {
    const Index begin = matrix_.ap(j), end = matrix_.ap(j + 1);
    Wide outside = 0;
    for (Index p = begin; p < end; ++p) {
      const Index row = position(rows(p));
      if (range.has(row)) {
        ++count(std::min(row, column) - first_ + 1);
        continue;
      }
      ++outside;
      if (row < range.first) {
        ++above;
      } else {
        ++below;
        if (!in_.preserved) report_below(p);
      }
    }
    entries += end - begin - outside;
  });
  counts_.above += above;
  if (!in_.preserved) counts_.below += below;
  return entries;
}

void ArrowMaker::report_below(Index p) const {
  const int* const starts = matrix_.ap.data();
  const Index j = std::upper_bound(starts, starts + matrix_.ap.size(), p) - starts;
  report_dropped(kRefactor, in_.icntl, kEntryBelowBlocks, matrix_.ai(p), static_cast<int>(j), matrix_.ax(p));
}

void ArrowMaker::sum(Index start) {
  Index end = start;
  for (Index b = 1; b <= blocks(); ++b) {
    const Range range = block(b);
    for (Index k = range.last - first_ + 1; k >= range.first - first_ + 1; --k) {
      end += begin_(k);
      begin_(k) = static_cast<int>(end);
    }
  }
}

/// Writes entries into their arrows. Each arrow fills from its end down.
struct ArrowMaker::Target {
  OneBased<int> end;  // end(k - first + 1) is the last place written in arrow k, or where the arrow ends
  Index first;
  OneBased<int> words;
  OneBased<double> reals;

  void put(Index row, Index column, Index before, double value) const {
    const Index place = --end(std::min(row, column) - first + 1);
    words(place) = static_cast<int>(row < column ? before - column : row - before);
    reals(place) = value;
  }
};

ArrowMaker::Target ArrowMaker::target(const Space& space, Index shift) const {
  return {begin_, first_, space.ints.from(shift + 1), space.reals.from(shift + 1)};
}

void ArrowMaker::fill(const Space& space) const {
  const Target arrows = target(space, 0);
  const OneBased<const int> position = in_.row_position;
  const OneBased<const int> rows = matrix_.ai;
  const OneBased<const double> values = matrix_.ax;
  each_column([&](Index j, Index column, const Range& range) {
    const Index end = matrix_.ap(j + 1);
    for (Index p = matrix_.ap(j); p < end; ++p) {
      const Index row = position(rows(p));
      if (range.has(row)) arrows.put(row, column, range.first - 1, values(p));
    }
  });
}

void ArrowMaker::fill_and_pack(const Space& space, Index shift) const {
  const Target arrows = target(space, shift);
  const OneBased<const int> position = in_.row_position;
  const OneBased<int> rows = matrix_.ai;
  const OneBased<double> values = matrix_.ax;
  Index to = 1, p = matrix_.ap(1);
  each_column([&](Index j, Index column, const Range& range) {
    const Index end = matrix_.ap(j + 1);
    matrix_.ap(j) = static_cast<int>(to);
    for (; p < end; ++p) {
      const Index row = position(rows(p));
      if (range.has(row)) {
        arrows.put(row, column, range.first - 1, values(p));
      } else if (row < range.first) {
        rows(to) = rows(p);
        values(to++) = values(p);
      }
    }
  });
  matrix_.ap(matrix_.ap.size()) = static_cast<int>(to);
}

/// Adds room for the arrows to the heads and the needs. Returns false after a shortage, which is flagged.
bool reserve_heads(Space& space, Wide entries, const Results& results) {
  const bool ints = space.has_ints(results, entries), reals = space.has_reals(results, entries);
  if (!ints || !reals) return false;
  space.grow_heads(static_cast<Index>(entries));
  space.note_use(results);
  return true;
}

/// Moves the arrows down by `shift` places, so that they begin directly behind the entries above the blocks,
/// and takes the words of the first copy and of dropped entries off the heads and the needs.
void move_arrows_down(Space& space, Index shift, Wide entries, const PatternCounts& counts) {
  const Index begin = static_cast<Index>(counts.above) + 1;
  int* const words = space.ints.data() + (begin - 1);
  double* const reals = space.reals.data() + (begin - 1);
  std::copy(words + shift, words + shift + entries, words);
  std::copy(reals + shift, reals + shift + entries, reals);
  space.shrink_heads(static_cast<Index>(entries + counts.below));
  assert(space.xhead == begin + entries);
}

}  // namespace

bool invert_permutation(OneBased<const int> permutation, OneBased<int> inverse) {
  const Index n = permutation.size();
  std::fill_n(inverse.data(), n, 0);
  for (Index k = 1; k <= n; ++k) {
    const Index member = permutation(k);
    if (member < 1 || member > n || inverse(member) != 0) return false;
    inverse(member) = static_cast<int>(k);
  }
  return true;
}

bool ma38_prior_pattern(const PatternInput& input, OneBased<int> begin, Space& space, PatternCounts& counts,
                        const Results& results) {
  ArrowMaker maker(input, begin, counts);
  const Wide entries = maker.count();
  if (input.preserved) {
    maker.sum(space.ihead);
    if (!reserve_heads(space, entries, results)) return false;
    maker.fill(space);
    return true;
  }
  const OneBased<int> ap = input.matrix.ap;
  const Index nz = ap(ap.size()) - 1, start = static_cast<Index>(counts.above) + 1, shift = nz + 1 - start;
  space.set_heads(nz + 1);
  maker.sum(start);
  if (!reserve_heads(space, entries, results)) return false;
  maker.fill_and_pack(space, shift);
  move_arrows_down(space, shift, entries, counts);
  return true;
}

}  // namespace ma38
}  // namespace corvidnum
