// The store of the frontal kernel: set up from random blocks, and compacted at random moments of a life in
// which entries, rows of elements and whole elements go and contribution blocks come.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "sparse/ma38/frontal.h"

namespace corvidnum {
namespace ma38 {
namespace {

struct Case {
  bool preserved, several;
  int d1;  // columns of more entries are dense
};

template <class T>
OneBased<T> view(std::vector<T>& v) {
  return {v.data(), static_cast<std::ptrdiff_t>(v.size())};
}

/// A block in exact-length arrays, what its entries are, and the kernel's state.
class Store {
 public:
  Store(const Case& kind, unsigned seed, int free_ints, int free_reals) : random_(seed), kind_(kind) {
    n_ = pick(4, 14);
    before_ = kind.several ? pick(1, 5) : 0;
    fill();
    const int lead = kind.preserved ? 0 : 3, entries = static_cast<int>(ai_.size());
    const int held = kind.preserved ? 0 : entries;
    ints_.assign(static_cast<std::size_t>(lead + held + free_ints), -77);
    reals_.assign(static_cast<std::size_t>(lead + held + free_reals), 1e300);
    if (!kind.preserved) {
      std::copy(ai_.begin(), ai_.end(), ints_.begin() + lead);
      std::copy(ax_.begin(), ax_.end(), reals_.begin() + lead);
      for (int& p : ap_) p += lead;
    }
    const Index begin = lead + held + 1;
    space_ = std::make_unique<Space>(Space{view(ints_), view(reals_), begin,
                                           static_cast<Index>(ints_.size()) + 1, begin,
                                           static_cast<Index>(reals_.size()) + 1, 5, 7, 5 + held, 7 + held});
  }

  bool set_up() {
    const OneBased<int> ai = kind_.preserved ? view(ai_) : view(ints_);
    const OneBased<double> ax = kind_.preserved ? view(ax_) : view(reals_);
    const Block block{n_,
                      before_ + 1,
                      kind_.preserved,
                      kind_.several,
                      {view(ap_), ai, ax},
                      view(rperm_),
                      view(cperm_),
                      OneBased<const int>(view(row_position_))};
    const Index limit = dense_limit(block, controls_);
    const BlockCounts counts = count_block(block, limit);
    EXPECT_EQ(above_, counts.above);
    if (!room_for_block(block, counts, *space_, results_)) return false;
    f_ = std::make_unique<Frontal>(
        make_column_objects(block, counts, limit, *space_, controls_, totals_, results_));
    if (!prepare_objects(*f_)) return false;
    dense_columns_ = counts.dense;
    return true;
  }

  /// One random step of a kernel's life; false: there was no room for it.
  bool step() {
    switch (pick(0, 5)) {
      case 0:
      case 1:
        return remove_entry(), true;
      case 2:
        return remove_row_of_element(), true;
      case 3:
        return kill(random_element()), true;
      case 4:
        return add_contribution();
      default:
        return free_tail(*f_), true;
    }
  }

  /// Reads all there is: original entries and living places of elements.
  std::vector<double> contents() const {
    std::vector<double> sum(static_cast<std::size_t>(n_ * n_));
    for (Index col = 1; col <= n_; ++col) {
      const Index at = f_->cp(col), entries = f_->word(at, kOwned);
      for (Index k = 0; k < entries; ++k) {
        const Index row = f_->word(at, f_->word(at, kLength) - entries + k);
        sum[place(row, col)] += f_->space.reals(f_->word(at, kValues) + k);
      }
    }
    for (Index e = 1; e <= f_->nd; ++e) {
      if (is_element(e)) add_element(e, sum);
    }
    return sum;
  }
  const std::vector<double>& truth() const { return truth_; }
  Frontal& frontal() { return *f_; }
  const Space& space() const { return *space_; }
  Index dense_columns() const { return dense_columns_; }
  int info(Info which) { return results_(which); }
  int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }

  /// What no reader of the contents sees: the room of dense columns' objects, the order of equal degrees.
  void expect_shape_of_set_up() const {
    for (Index e = n_ + 1; e <= f_->nd; ++e) {
      const Index slack = f_->word(f_->cp(f_->word(f_->rp(e), kDenseColumn)), kLength) - kColumnHeader - 2;
      EXPECT_EQ(slack, std::min(f_->dense_limit + 6, slack + space_->free_ints() / dense_columns_));
    }
    for (Index degree = 1; degree <= n_; ++degree) {
      for (Index col = f_->heads(degree), last = 0; col != 0;
           last = col, col = f_->word(f_->cp(col), kNextOfDegree)) {
        EXPECT_LT(last, col);
      }
    }
  }
  Wide ints_in_use() const { return space_->ints_below + space_->ints.size() - space_->free_ints(); }

  void open_front() {
    f_->dr = pick(1, 3);
    f_->dc = pick(1, 3);
    const Index size = f_->dr * f_->dc + f_->dr;
    if (!room_for_reals(*f_, size)) return;
    f_->front = space_->xhead;
    space_->xhead += size;
    space_->xneed += size;
    for (Index i = 0; i < size; ++i) f_->at(i, 0) = static_cast<double>(i);
  }
  void close_front() {
    if (f_->front == 0) return;
    const Index size = f_->dr * f_->dc + f_->dr;
    for (Index i = 0; i < size; ++i) EXPECT_EQ(static_cast<double>(i), f_->at(i, 0));
    space_->xhead = f_->front;
    space_->xneed -= size;
    f_->front = 0;
  }

 private:
  std::size_t place(Index row, Index col) const { return static_cast<std::size_t>((col - 1) * n_ + row - 1); }
  bool is_element(Index e) const {
    return kind_of(*f_, e) == kContribution || kind_of(*f_, e) == kDenseElement;
  }
  std::vector<int> shuffled(Index count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 1);
    std::shuffle(numbers.begin(), numbers.end(), random_);
    return numbers;
  }

  void fill() {
    const Index order = n_ + before_;
    const std::vector<int> rows = shuffled(order), columns = shuffled(order);  // by position
    const bool whole = kind_.preserved && kind_.several;
    truth_.assign(static_cast<std::size_t>(n_ * n_), 0.0);
    row_position_.assign(static_cast<std::size_t>(order), 0);
    for (std::size_t k = 0; k < rows.size(); ++k)
      row_position_[static_cast<std::size_t>(rows[k] - 1)] = static_cast<int>(k + 1);
    std::vector<std::vector<int>> pattern(static_cast<std::size_t>(order));
    for (Index position = 1; position <= order; ++position) {
      const int most = pick(0, 5) == 0 ? static_cast<int>(order) : 3;
      std::vector<int> column = shuffled(order);
      column.resize(static_cast<std::size_t>(pick(0, std::min(most, static_cast<int>(order)))));
      const Index number = whole ? columns[static_cast<std::size_t>(position - 1)] : position;
      pattern[static_cast<std::size_t>(number - 1)] = column;
    }
    std::vector<int> local(static_cast<std::size_t>(order));
    for (Index k = 0; k < order; ++k) {
      local[static_cast<std::size_t>(whole ? columns[static_cast<std::size_t>(k)] - 1 : k)] =
          static_cast<int>(k + 1 - before_);
    }
    ap_.push_back(1);
    for (std::size_t j = 0; j < pattern.size(); ++j) {
      const int col = local[j];
      if (!whole && col < 1) continue;
      for (const int position : pattern[j]) {
        const Index row = position - before_;
        if (!whole && row < 1) continue;
        ai_.push_back(whole ? rows[static_cast<std::size_t>(position - 1)] : static_cast<int>(row));
        ax_.push_back(pick(1, 1000));
        if (col >= 1 && row >= 1) truth_[place(row, col)] = ax_.back();
        if (col >= 1 && row < 1) ++above_;
      }
      ap_.push_back(static_cast<int>(ai_.size()) + 1);
    }
    rperm_.assign(rows.begin() + before_, rows.end());
    cperm_.assign(columns.begin() + before_, columns.end());
    controls_.dense1 = kind_.d1;
  }

  void add_element(Index e, std::vector<double>& sum) const {
    const Index at = f_->rp(e), lu = f_->word(at, kLuElement);
    const bool dense = e > n_;
    const Index rows = dense ? f_->word(at, kDegree) : f_->word(lu, kElementL);
    const Index columns = dense ? 1 : f_->word(lu, kElementU), first = dense ? at + 9 : lu + kElementLists;
    const Index leading = dense ? rows : f_->word(at, kLeading);
    for (Index j = 0; j < columns; ++j) {
      const Index col = dense ? f_->word(at, kDenseColumn) : f_->word(first, rows + j);
      for (Index i = 0; i < rows; ++i) {
        const Index row = f_->word(first, i);
        if (row > 0) sum[place(row, col)] += f_->space.reals(f_->word(at, kValues) + j * leading + i);
      }
    }
  }

  void remove_entry() {
    const Index col = pick(1, static_cast<int>(n_)), at = f_->cp(col), entries = f_->word(at, kOwned);
    if (entries == 0) return;
    const Index which = pick(0, static_cast<int>(entries) - 1), end = at + f_->word(at, kLength);
    const Index row = f_->space.ints(end - entries + which);
    double* values = &f_->space.reals(f_->word(at, kValues));
    truth_[place(row, col)] -= values[which];
    for (Index i = which; i > 0; --i)
      f_->space.ints(end - entries + i) = f_->space.ints(end - entries + i - 1);
    for (Index i = which; i + 1 < entries; ++i) values[i] = values[i + 1];
    // The rows went up, the values down: both keep their order.
    f_->word(at, kOwned) = static_cast<int>(entries - 1);
    const Index row_end = f_->rp(row) + f_->word(f_->rp(row), kLength);
    Index place_in_row = row_end - f_->ro(row);
    while (f_->space.ints(place_in_row) != col) ++place_in_row;
    for (; place_in_row > row_end - f_->ro(row); --place_in_row) {
      f_->space.ints(place_in_row) = f_->space.ints(place_in_row - 1);
    }
    --f_->ro(row);
    space_->ineed -= 2;
    space_->xneed -= 1;
    if (entries == 1) free_reals(*f_, at);
  }

  Index random_element() {
    for (const int e : shuffled(f_->nd)) {
      if (is_element(e)) return e;
    }
    return 0;
  }

  void remove_row_of_element() {
    const Index e = random_element();
    if (e == 0) return;
    const Index at = f_->rp(e);
    if (f_->word(at, kLiveRows) == 1) return kill(e);
    std::vector<double> values(truth_.size());
    Index list = at + 9, count = f_->word(at, kDegree);
    if (e <= n_) {
      list = f_->word(at, kLuElement) + kElementLists;
      count = f_->word(f_->word(at, kLuElement), kElementL);
    }
    Index offset = pick(1, static_cast<int>(count));
    while (f_->space.ints(list + offset - 1) < 0) offset = offset % count + 1;
    const Index row = f_->space.ints(list + offset - 1);
    add_element(e, values);
    for (Index col = 1; col <= n_; ++col) truth_[place(row, col)] -= values[place(row, col)];
    f_->space.ints(list + offset - 1) = static_cast<int>(-row);
    --f_->word(at, kLiveRows);
    Index tuple = f_->rp(row) + kRowHeader;
    while (f_->space.ints(tuple) != e || f_->space.ints(tuple + 1) != offset) tuple += 2;
    const Index last = f_->rp(row) + kRowHeader + 2 * (f_->rt(row) - 1);
    f_->space.ints(tuple) = f_->space.ints(last);
    f_->space.ints(tuple + 1) = f_->space.ints(last + 1);
    --f_->rt(row);
    space_->ineed -= 2;
  }

  void kill(Index e) {
    if (e == 0) return;
    std::vector<double> values(truth_.size());
    add_element(e, values);
    for (std::size_t i = 0; i < values.size(); ++i) truth_[i] -= values[i];
    const Index at = f_->rp(e), lu = f_->word(at, kLuElement);
    Index reals = f_->word(at, kDegree), words = 9 + reals;
    if (e <= n_) {
      words = kContributionWords;
      reals = Index{f_->word(lu, kElementL)} * f_->word(lu, kElementU);
      f_->word(at, kLength) = static_cast<int>(words);
    }
    space_->ineed -= words;
    space_->xneed -= reals;
    f_->word(at, kDegree) = kColumnIsPivotal;
    f_->rt(e) = f_->ro(e) = f_->dead_mark();
    f_->rp(e) = e > n_ ? 0 : static_cast<int>(lu);
    free_reals(*f_, at);
  }

  /// A row without entry and tuple becomes an element of random rows and columns.
  bool add_contribution() {
    Index e = 1;
    while (e <= n_ && !(kind_of(*f_, e) == kRow && f_->ro(e) == 0 && f_->rt(e) == 0)) ++e;
    if (e > n_) return true;
    f_->word(f_->rp(e), kDegree) = kColumnIsPivotal;
    f_->rp(e) = 0;
    f_->rt(e) = f_->ro(e) = f_->dead_mark();
    space_->ineed -= kRowHeader;
    std::vector<int> rows, columns = shuffled(n_);
    for (const int row : shuffled(n_)) {
      if (kind_of(*f_, row) == kRow && rows.size() < 4) rows.push_back(row);
    }
    if (rows.empty()) return true;
    columns.resize(static_cast<std::size_t>(pick(1, 3)));
    const Index l = static_cast<Index>(rows.size()), u = static_cast<Index>(columns.size());
    const Index leading = l + pick(0, 2), words = kElementLists + l + u;
    if (!room_for_both(*f_, words + kContributionWords, leading * u)) return false;
    space_->itail -= words;
    const Index lu = space_->itail, at = space_->ihead;
    space_->ihead += kContributionWords;
    space_->ineed += words + kContributionWords;
    f_->word(lu, kElementL) = static_cast<int>(l);
    f_->word(lu, kElementU) = static_cast<int>(u);
    for (Index i = 0; i < l; ++i) f_->word(lu, kElementLists + i) = rows[static_cast<std::size_t>(i)];
    for (Index j = 0; j < u; ++j) f_->word(lu, kElementLists + l + j) = columns[static_cast<std::size_t>(j)];
    std::fill_n(&f_->word(at, 0), kContributionWords, 0);
    f_->word(at, kLuElement) = static_cast<int>(lu);
    f_->word(at, kLiveRows) = static_cast<int>(l);
    f_->word(at, kLiveColumns) = static_cast<int>(u);
    place_values(at, l, u, leading);
    f_->rp(e) = static_cast<int>(at);
    f_->rt(e) = f_->ro(e) = static_cast<int>(f_->nd + 1);
    add_element(e, truth_);
    for (Index i = 0; i < l; ++i) {
      if (!add_row_tuple(rows[static_cast<std::size_t>(i)], e, i + 1)) return false;
    }
    for (Index j = 0; j < u; ++j) {
      if (!add_column_tuple(columns[static_cast<std::size_t>(j)], e, j + 1)) return false;
    }
    return true;
  }

  void place_values(Index at, Index l, Index u, Index leading) {
    const bool in_hole = f_->hole_size >= l * u;
    if (in_hole) leading = l;
    f_->word(at, kLeading) = static_cast<int>(leading);
    if (in_hole) {
      place_in_hole(*f_, at, l * u);
    } else {
      f_->word(at, kValues) = static_cast<int>(space_->xhead);
      link_at_end(*f_, at);
      space_->xhead += leading * (u - 1) + l;
    }
    space_->xneed += l * u;
    for (Index j = 0; j < u; ++j) {
      for (Index i = 0; i < l; ++i) f_->space.reals(f_->word(at, kValues) + j * leading + i) = pick(1, 1000);
    }
  }

  bool add_row_tuple(Index row, Index e, Index offset) {
    if (!enlarge(f_->rp(row), kRowHeader + 2 * f_->rt(row), f_->ro(row), false)) return false;
    const Index tuple = f_->rp(row) + kRowHeader + 2 * f_->rt(row)++;
    return add_tuple(tuple, e, offset);
  }
  bool add_column_tuple(Index col, Index e, Index offset) {
    const Index front_part = kColumnHeader + 2 * f_->word(f_->cp(col), kTuples);
    if (!enlarge(f_->cp(col), front_part, f_->word(f_->cp(col), kOwned), true)) return false;
    const Index tuple = f_->cp(col) + kColumnHeader + 2 * f_->word(f_->cp(col), kTuples)++;
    return add_tuple(tuple, e, offset);
  }
  bool add_tuple(Index at, Index e, Index offset) {
    f_->space.ints(at) = static_cast<int>(e);
    f_->space.ints(at + 1) = static_cast<int>(offset);
    space_->ineed += 2;
    return true;
  }
  bool enlarge(int& pointer, Index front_part, Index tail, bool owner) {
    const Index needed = front_part + tail + 2;
    if (f_->word(pointer, kLength) >= needed) return true;
    if (!room_for_ints(*f_, needed + 2, true)) return false;
    const Index old = pointer, copy = space_->ihead, old_end = old + f_->word(old, kLength);
    space_->ihead += needed + 2;
    for (Index i = 0; i < front_part; ++i) f_->word(copy, i) = f_->word(old, i);
    for (Index i = 1; i <= tail; ++i) f_->space.ints(copy + needed + 2 - i) = f_->space.ints(old_end - i);
    f_->word(copy, kLength) = static_cast<int>(needed + 2);
    if (owner) move_in_list(*f_, old, copy);
    f_->word(old, kDegree) = kColumnIsPivotal;
    pointer = static_cast<int>(copy);
    return true;
  }

  std::mt19937 random_;
  Case kind_;
  Index n_ = 0, before_ = 0, dense_columns_ = 0;
  Wide above_ = 0;
  std::vector<int> ap_, ai_, rperm_, cperm_, row_position_, ints_;
  std::vector<double> ax_, reals_, truth_;
  int keep_[kKeepLength] = {}, icntl_[kIcntlLength] = {}, info_[kInfoLength] = {};
  double cntl_[kCntlLength] = {}, rinfo_[kRinfoLength] = {};
  Results results_{info_, rinfo_};
  FrontControls controls_{keep_, cntl_, icntl_};
  FactorTotals totals_;
  std::unique_ptr<Space> space_;
  std::unique_ptr<Frontal> f_;
};

const char* text_of(const char* text) { return text == nullptr ? "" : text; }

const Case kCases[] = {{true, false, 64}, {false, false, 64}, {true, true, 64}, {false, true, 64},
                       {true, false, 2},  {false, false, 0},  {true, true, 3},  {false, true, 2}};

// For the largest block.
constexpr int kEnoughInts = 1100, kEnoughReals = 220;

TEST(FrontalStore, ShortageIsToldWithAFigureThatGetsFurther) {
  for (const Case& kind : kCases) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
      int free_ints = 0, free_reals = 0;
      for (bool done = false; !done;) {
        Store store(kind, seed, free_ints, free_reals);
        done = store.set_up();
        if (done) store.expect_shape_of_set_up();
        const Space& s = store.space();
        ASSERT_EQ(!done, s.ints_short || s.reals_short);
        const Wide missing_ints = store.info(kIndexNeeded) - s.ints_below - s.ints.size();
        const Wide missing_reals = store.info(kValueNeeded) - s.reals_below - s.reals.size();
        ASSERT_TRUE(!s.ints_short || missing_ints > 0);
        ASSERT_TRUE(!s.reals_short || missing_reals > 0);
        free_ints += s.ints_short ? to_int(missing_ints) : 0;
        free_reals += s.reals_short ? to_int(missing_reals) : 0;
        ASSERT_LE(free_ints, kEnoughInts);
        ASSERT_LE(free_reals, kEnoughReals);
      }
    }
  }
}

TEST(FrontalStore, SetUpHoldsTheMatrix) {
  Index dense_columns = 0;
  for (const Case& kind : kCases) {
    for (unsigned seed = 1; seed <= 40; ++seed) {
      Store store(kind, seed, kEnoughInts, kEnoughReals);
      ASSERT_TRUE(store.set_up());
      ASSERT_STREQ("", text_of(find_inconsistency(store.frontal()))) << seed;
      ASSERT_EQ(store.truth(), store.contents()) << seed;
      store.expect_shape_of_set_up();
      dense_columns += store.dense_columns();
    }
  }
  EXPECT_GT(dense_columns, 100);
}

TEST(FrontalStore, CompactionKeepsWhatReadersSeeAndLeavesNoGap) {
  int collections = 0;
  for (const Case& kind : kCases) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
      Store store(kind, seed, kEnoughInts + 4 * static_cast<int>(seed), kEnoughReals);
      ASSERT_TRUE(store.set_up());
      Frontal& f = store.frontal();
      for (int step = 0; step < 60 && store.step(); ++step) {
        ASSERT_STREQ("", text_of(find_inconsistency(f))) << seed << ", step " << step;
        ASSERT_EQ(store.truth(), store.contents()) << seed << ", step " << step;
        if (store.pick(0, 3) != 0) continue;
        if (store.pick(0, 1) == 0) store.open_front();
        const bool slack = store.pick(0, 1) == 0;
        const Wide used = store.ints_in_use();
        ma38_compact(f, slack);
        ASSERT_GE(store.info(kIndexUsed), used) << seed << ", compacted at " << step;
        ASSERT_STREQ("", text_of(find_inconsistency(f))) << seed << ", compacted at " << step;
        ASSERT_EQ(store.truth(), store.contents()) << seed << ", compacted at " << step;
        const Space& s = f.space;
        const Wide reals = s.xneed - f.reals_elsewhere - (s.reals.size() - s.xtail + 1);
        const Wide ints = s.ineed - f.ints_elsewhere - (s.ints.size() - s.itail + 1);
        EXPECT_EQ(f.first_real + reals, s.xhead);
        const Wide spare = s.ihead - objects_begin(f) - ints;
        EXPECT_TRUE(slack ? spare >= 0 && spare % 2 == 0 : spare == 0);
        EXPECT_GE(store.info(kIndexNeeded), s.ineed + spare);
        store.close_front();
        ++collections;
      }
    }
  }
  EXPECT_GT(collections, 1000);
}

}  // namespace
}  // namespace ma38
}  // namespace corvidnum
