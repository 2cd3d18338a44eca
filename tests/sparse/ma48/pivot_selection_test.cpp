#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "sparse/ma48/kernels.h"
#include "sparse/ma48/list_store.h"
#include "tests/support/pivot_calls.h"

namespace {

using namespace pivot_model;

void expect_equal(const Result& wanted, const Result& got) { EXPECT_EQ(difference(wanted, got), ""); }

/// The figure itself suffices, or leads to a larger one: other free places can lead to other pivots.
void expect_longer_or_done(const Problem& p, int la) {
  const Result r = select(p, la);
  EXPECT_TRUE(r.info[0] >= 0 || (r.info[0] == -3 && r.info[2] > la)) << r.info[0] << ' ' << r.info[2];
}

TEST(PivotSelection, ChoosesAsThePlainModelInEveryLengthThatIsNotTooShort) {
  std::mt19937 random(48);
  int short_ones = 0, compressions = 0;
  for (int trial = 0; trial < 4000 && !testing::Test::HasFailure(); ++trial) {
    const Problem p = random_problem(random);
    const int ample = 10 * entries(p) + 400;
    const Result unhindered = select(p, ample);
    expect_equal(Model(p, ample).run(), unhindered);
    const int needed = unhindered.info[2];
    for (int la = entries(p); trial % 10 == 0 && la <= needed; ++la) {
      SCOPED_TRACE(testing::Message() << "problem " << trial << " in " << la << " of " << needed);
      const Result r = select(p, la);
      compressions += r.info[1];
      if (r.info[0] != -3) {
        expect_equal(Model(p, la).run(), r);
        continue;
      }
      EXPECT_LT(la, r.info[2]);
      expect_longer_or_done(p, r.info[2]);
      ++short_ones;
    }
    expect_longer_or_done(p, needed);
  }
  EXPECT_GT(short_ones, 100);
  EXPECT_GT(compressions, 100);
}

// Pivot columns of more than 64 entries fill in by another way of noting the rows that are there.
TEST(PivotSelection, ChoosesAsThePlainModelWhereColumnsAreLong) {
  std::mt19937 random(64);
  int long_columns = 0;
  for (int trial = 0; trial < 300 && !testing::Test::HasFailure(); ++trial) {
    SCOPED_TRACE(trial);
    const int m = 300 + below(300, random), n = 2 + below(7, random);
    const Problem p = random_problem(m, n, random);
    for (const auto& column : p.columns) long_columns += column.size() > 130;
    const int ample = 10 * entries(p) + 400;
    expect_equal(Model(p, ample).run(), select(p, ample));
  }
  EXPECT_GT(long_columns, 100);
}

TEST(PivotSelection, ReportsFaults) {
  const Columns good = {{{1, 1.0}}, {{2, 1.0}}, {{3, 1.0}}}, twice = {{{2, 1.0}, {2, 3.0}}, {}, {}};
  const struct {
    int m, n;
    Columns columns;
    int la, icntl4, icntl7;
    Ints sequence;
    int status;
  } cases[] = {
      {0, 3, good, 9, 3, 0, {1, 2, 3}, -1},  {3, 0, {}, 9, 3, 0, {}, -1},
      {3, 3, {{}, {}, {}}, 9, 3, 0, {}, -2}, {3, 3, good, 2, 3, 0, {1, 2, 3}, -3},
      {3, 3, good, 3, 3, 0, {1, 2, 3}, 0},   {3, 3, twice, 9, 3, 0, {1, 2, 3}, -4},
      {3, 3, good, 9, 1, 2, {1, 4, 2}, -5},  {3, 3, good, 9, 1, 2, {0, 1, 2}, -5},
      {3, 3, good, 9, 1, 2, {1, 1, 2}, -5},  {3, 3, good, 9, 3, 2, {1, 2, 3}, -6},
  };
  for (const auto& c : cases) {
    Problem p{c.m, c.n, c.columns};
    p.cntl[0] = 1, p.icntl[3] = c.icntl4, p.icntl[6] = c.icntl7, p.sequence = c.sequence;
    const Result r = select(p, c.la);
    EXPECT_EQ(c.status, r.info[0]) << "case " << &c - cases;
    EXPECT_TRUE(c.status != -3 || r.info[2] == 3);
  }
}

/// The cheapest entry, which also comes first, is too small beside the others; any threshold lets it pass.
TEST(PivotSelection, TakesNoPivotWithoutReciprocal) {
  const struct {
    int icntl4, icntl7;
  } searches[] = {{3, 0}, {0, 0}, {1, 2}};  // by columns, by rows too, columns in the given sequence
  for (const double small : {0.0, 0x1p-1024, std::nextafter(0x1p-1024, 1)}) {
    for (const auto& search : searches) {
      Problem p{3, 3, {{{1, small}, {2, 1.0}, {3, 3.0}}, {{2, 1.0}, {3, 1.0}}, {{2, 1.0}, {3, 2.0}}}};
      p.cntl = {1.0, 0.0, 0.0, 0.0}, p.icntl[3] = search.icntl4, p.icntl[6] = search.icntl7;
      p.priority = p.sequence = {1, 2, 3};
      EXPECT_EQ(small > 0x1p-1024, select(p, 40).ip[0] == 1) << small << ", " << &search - searches;
    }
  }
}

TEST(PivotSelection, EndsWhateverTheNumbersAre) {
  const double nan = std::nan(""), huge = std::numeric_limits<double>::infinity();
  std::mt19937 random(7);
  for (int trial = 0; trial < 2000; ++trial) {
    Problem p = random_problem(random);
    for (auto& column : p.columns)
      for (Entry& e : column) e.value = random() % 3 ? e.value : random() % 2 ? nan : huge;
    for (double& x : p.cntl) x = random() % 4 ? x : random() % 2 ? nan : -huge;
    Result r = select(p, 10 * entries(p) + 400);
    EXPECT_GE(r.info[0], 0);
    for (Ints* order : {&r.ip, &r.iq}) {  // permutations all the same
      std::sort(order->begin(), order->end());
      for (size_t k = 0; k < order->size(); ++k) EXPECT_EQ(k + 1, (*order)[k]);
    }
  }
}

/// Lists 1 to 3 in 1 2 - - 3 4 5, where - is a free place and end() is 8.
TEST(ListStore, GrowsBehindElseInFrontElseAtTheEnd) {
  const struct {
    int list, extra, la;
    bool fits;
    int start, end;
  } cases[] = {{1, 2, 20, true, 1, 8},  {2, 1, 20, true, 4, 8},  {2, 2, 20, true, 3, 8},
               {2, 3, 20, true, 8, 13}, {3, 2, 20, true, 7, 10}, {1, 3, 11, true, 6, 11},
               {2, 3, 9, false, 3, 6}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.list << " by " << c.extra << " in " << c.la);
    Ints index = {1, 2, 0, 0, 3, 4, 5}, starts = {1, 5, 7}, counts = {2, 2, 1};
    index.resize(static_cast<size_t>(c.la), 77);  // nothing is known of what lies behind the end
    std::vector<double> values(index.begin(), index.end());
    corvidnum::ListStore store(values.data(), index.data(), c.la, starts.data(), counts.data(), 3);
    store.set_end(8);
    const int before = index[starts[c.list - 1] - 1];
    EXPECT_EQ(store.grow(c.list, c.extra), c.fits);
    EXPECT_EQ(store.start(c.list), c.start);
    EXPECT_EQ(store.end(), c.end);
    for (int k = 0; k < store.count(c.list); ++k) EXPECT_EQ(store.value(c.start + k), before + k);
    for (int k = 0; c.fits && k < c.extra; ++k) store.index(store.last(c.list) + 1 + k) = 0;
    EXPECT_TRUE(store.consistent());
    store.index(store.start(1)) = 0;
    EXPECT_FALSE(store.consistent());
  }
}

}  // namespace
