#include <climits>
#include <numeric>

#include "tests/sparse/ma38/routines.h"

using namespace reference;

namespace {

int blocks_of(const Factoring& f, Ints* orders) {
  return ma38blocks_(&f.matrix.n, &f.lindex, f.index.data(), f.keep.data(),
                     orders ? orders->data() : nullptr);
}

}  // namespace

TEST(Ma38Queries, TellTheBlocksThatTheFactorsHave) {
  Random random(3801);
  for (const FactorSettings& settings : few_settings()) {
    for (const Ints& given : {Ints{3, 1, 4, 1, 5}, Ints(7, 1), Ints{9}, Ints{1}}) {
      SCOPED_TRACE(std::string(settings.name) + ", blocks: " + std::to_string(given.size()));
      Factoring f(block_triangular_matrix(given, random), settings);
      ASSERT_EQ(MA38_STATUS_OK, f.factor());
      Ints expected, orders(f.matrix.n);
      for (const LuBlock& block : StoredFactors(f.keep, f.index, f.value).blocks)
        expected.push_back(block.order);
      EXPECT_EQ(ma38_info(f.info.data(), MA38_INFO_BLOCKS), blocks_of(f, nullptr));
      orders.resize(std::max(blocks_of(f, &orders), 0));
      EXPECT_EQ(expected, orders);
    }
  }
}

TEST(Ma38Queries, RefuseWhatHoldsNoFactors) {
  Random random(3802);
  Factoring good(block_triangular_matrix({3, 1, 4, 2}, random), kSettings[0]);
  ASSERT_EQ(MA38_STATUS_OK, good.factor());
  const int n = good.matrix.n, blocks = blocks_of(good, nullptr), end = good.lindex;
  ASSERT_EQ(4, blocks);
  const auto refused = [&](int code, const char* what, auto spoil) {
    SCOPED_TRACE(what);
    Factoring f = good;
    spoil(f);
    Ints orders(n + 1, 77);
    EXPECT_EQ(code, blocks_of(f, &orders));
    EXPECT_EQ(Ints(n + 1, 77), orders);
  };
  refused(MA38_STATUS_BAD_ORDER, "no order", [](Factoring& f) { f.matrix.n = 0; });
  refused(MA38_STATUS_CORRUPTED, "another order", [](Factoring& f) { ++f.matrix.n; });
  refused(MA38_STATUS_CORRUPTED, "shorter array", [](Factoring& f) { --f.lindex; });
  refused(MA38_STATUS_CORRUPTED, "failed call", [](Factoring& f) { f.factor(0, 1); });
  const int starts = end - 3 * n - 8 - blocks;  // of the blocks, blocks + 1 of them
  for (int b = 0; b <= blocks; ++b) {
    for (const int value : {INT_MIN, 0, n + 2, INT_MAX})
      refused(MA38_STATUS_CORRUPTED, "start", [&](Factoring& f) { f.index[starts - 1 + b] = value; });
    refused(MA38_STATUS_CORRUPTED, "empty block",
            [&](Factoring& f) { f.index[starts - 1 + b] = f.index[starts - 1 + (b > 0 ? b - 1 : 1)]; });
  }
  // Whatever the scalars at the end say, the blocks that are told fill the matrix.
  for (int word = end - 6; word <= end; ++word) {
    for (const int value : {INT_MIN, -1, 0, 1, 2, n, n + 1, INT_MAX}) {
      Factoring f = good;
      f.index[word - 1] = value;
      Ints orders(n);
      const int told = blocks_of(f, &orders);
      const int columns = std::accumulate(orders.begin(), orders.begin() + std::max(told, 0), 0);
      EXPECT_TRUE(columns == n || told == MA38_STATUS_CORRUPTED) << told << " blocks";
    }
  }
}
