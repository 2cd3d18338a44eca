#include "sparse/ma38/prior_pattern.h"

#include <algorithm>

namespace corvidnum {
namespace ma38 {
namespace {

class ArrowMaker {
 public:
  ArrowMaker(const PatternInput& input, OneBased<int> begin, PatternCounts& counts)
      : in_(input), matrix_(input.matrix), first_(input.blkp(1)), begin_(begin), counts_(counts) {}

  /// The entries of arrow k in begin(k). Returns their sum.
  Wide count();
  /// Makes begin(k) the end of arrow k, which fill() brings down to its start.
  void sum(Index start);
  /// Writes the arrows `shift` places above their own. Not preserved: rows of what has been taken, or is to
  /// be dropped, are negative then.
  void fill(const Space& space, Index shift) const;
  /// What has not been taken moves down to place 1, by original columns.
  void pack_the_rest() const;

 private:
  struct Range {
    Index first, last;
  };
  Index blocks() const { return in_.blkp.size() - 1; }
  Range block(Index b) const { return {in_.blkp(b), in_.blkp(b + 1) - 1}; }
  void report_below(Index column, Index p) const;
  /// visit(p, row, column, block) for each entry, by its number and its positions.
  template <class Visit>
  void each_entry(Visit visit) const;

  const PatternInput& in_;
  const Columns& matrix_;
  const Index first_;
  const OneBased<int> begin_;
  PatternCounts& counts_;
};

template <class Visit>
void ArrowMaker::each_entry(Visit visit) const {
  const int* position = in_.row_position.data() - 1;
  const int* rows = matrix_.ai.data() - 1;
  for (Index b = 1; b <= blocks(); ++b) {
    const Range range = block(b);
    for (Index column = range.first; column <= range.last; ++column) {
      const Index j = in_.cperm(column), end = matrix_.ap(j + 1);
      for (Index p = matrix_.ap(j); p < end; ++p) visit(p, Index{position[rows[p]]}, column, range);
    }
  }
}

Wide ArrowMaker::count() {
  std::fill_n(begin_.data(), in_.blkp(in_.blkp.size()) - first_, 0);
  Wide above = 0, below = 0, entries = 0;
  int* const count = begin_.data();
  each_entry([&](Index p, Index row, Index column, const Range& range) {
    if (row < range.first) {
      ++above;
    } else if (row > range.last) {
      ++below;
      if (!in_.preserved) report_below(column, p);
    } else {
      ++entries;
      ++count[std::min(row, column) - first_];
    }
  });
  counts_.above += above;
  if (!in_.preserved) counts_.below += below;
  return entries;
}

void ArrowMaker::report_below(Index column, Index p) const {
  const OneBased<const int> controls(in_.icntl, kIcntlLength);
  if (controls(kPrintLevel) < 3) return;
  ma38_report(kRefactor, kEntryBelowBlocks, matrix_.ai(p), in_.cperm(column), matrix_.ax(p),
              controls(kErrorUnit));
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

void ArrowMaker::fill(const Space& space, Index shift) const {
  int* const end = begin_.data();
  int* const words = space.ints.data() + shift - 1;
  double* const reals = space.reals.data() + shift - 1;
  int* const rows = matrix_.ai.data() - 1;
  const double* const values = matrix_.ax.data() - 1;
  each_entry([&](Index p, Index row, Index column, const Range& range) {
    if (row < range.first) return;
    if (row <= range.last) {
      const Index place = --end[std::min(row, column) - first_], before = range.first - 1;
      words[place] = static_cast<int>(row < column ? before - column : row - before);
      reals[place] = values[p];
    }
    if (!in_.preserved) rows[p] = -rows[p];
  });
}

void ArrowMaker::pack_the_rest() const {
  const OneBased<int> ap = matrix_.ap;
  Index to = 1, from = ap(1);
  for (Index j = 1; j < ap.size(); ++j) {
    const Index end = ap(j + 1);
    ap(j) = static_cast<int>(to);
    for (; from < end; ++from) {
      if (matrix_.ai(from) < 0) continue;
      matrix_.ai(to) = matrix_.ai(from);
      matrix_.ax(to++) = matrix_.ax(from);
    }
  }
  ap(ap.size()) = static_cast<int>(to);
}

/// Room for the arrows at the heads, which counts as used.
bool take_heads(Space& space, Wide entries, const Results& results) {
  const bool ints = space.free_ints() >= entries || space.lack_ints(results, entries - space.free_ints());
  const bool reals = space.free_reals() >= entries || space.lack_reals(results, entries - space.free_reals());
  if (!ints || !reals) return false;
  space.ihead += static_cast<Index>(entries);
  space.xhead += static_cast<Index>(entries);
  space.ineed += entries;
  space.xneed += entries;
  space.note_use(results);
  return true;
}

/// The arrows stand right behind what lies above the blocks.
void settle_heads(Space& space, Index shift, Wide entries, const PatternCounts& counts) {
  const Index begin = static_cast<Index>(counts.above) + 1, end = begin + static_cast<Index>(entries);
  int* const words = space.ints.data() + (begin - 1);
  double* const reals = space.reals.data() + (begin - 1);
  std::copy(words + shift, words + shift + entries, words);
  std::copy(reals + shift, reals + shift + entries, reals);
  space.ihead = space.xhead = end;
  space.ineed -= entries + counts.below;
  space.xneed -= entries + counts.below;
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
    if (!take_heads(space, entries, results)) return false;
    maker.fill(space, 0);
    return true;
  }
  const OneBased<int> ap = input.matrix.ap;
  const Index nz = ap(ap.size()) - 1, start = static_cast<Index>(counts.above) + 1, shift = nz + 1 - start;
  space.ihead = space.xhead = nz + 1;
  maker.sum(start);
  if (!take_heads(space, entries, results)) return false;
  maker.fill(space, shift);
  maker.pack_the_rest();
  settle_heads(space, shift, entries, counts);
  return true;
}

}  // namespace ma38
}  // namespace corvidnum
