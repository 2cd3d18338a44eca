// The query for the blocks, of what holds no factors. What it tells of those that stand is held against every
// factorisation by expect_factors().

#include "tests/sparse/ma38/routines.h"

namespace reference {
namespace {

/// Whether the query refuses, and writes nothing then. Else the blocks that it tells fill the matrix.
bool refuses(const Factoring& f, int code = MA38_STATUS_CORRUPTED) {
  const Ints untouched(std::max(f.matrix.n, 0) + 1, 77);
  Ints orders = untouched;
  const int told = blocks_of(f, &orders);
  if (told < 0) {
    EXPECT_EQ(told, code);
    EXPECT_EQ(orders, untouched);
    return true;
  }
  EXPECT_GE(*std::min_element(orders.begin(), orders.begin() + told), 1);
  EXPECT_EQ(std::accumulate(orders.begin(), orders.begin() + told, 0), f.matrix.n);
  return false;
}

TEST(Ma38Queries, RefuseWhatHoldsNoFactors) {
  Random random(3802);
  Factoring good(block_triangular_matrix({3, 1, 4, 2}, random), kSettings[0]);
  good.factor();
  expect_factors(good);
  ASSERT_EQ(blocks_of(good, nullptr), 4);
  const auto refused = [&](int code, auto spoil) {
    Factoring f = good;
    spoil(f);
    return refuses(f, code);
  };
  EXPECT_TRUE(refused(MA38_STATUS_BAD_ORDER, [](Factoring& f) { f.matrix.n = 0; }));
  EXPECT_TRUE(refused(MA38_STATUS_CORRUPTED, [](Factoring& f) { ++f.matrix.n; }));
  EXPECT_TRUE(refused(MA38_STATUS_CORRUPTED, [](Factoring& f) { --f.lindex; }));
  EXPECT_TRUE(refused(MA38_STATUS_CORRUPTED, [](Factoring& f) { f.factor(0, 1); }));
  good.shrink();
  int refusals = 0;
  for (Ints Factoring::*const words : {&Factoring::index, &Factoring::keep})
    for_each_damage(good.*words, good.matrix.n, [&](std::size_t) { refusals += refuses(good); });
  EXPECT_GT(refusals, 50);
}

}  // namespace
}  // namespace reference
