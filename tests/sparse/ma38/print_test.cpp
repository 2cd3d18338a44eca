// Dump of the arguments, which may come in damaged: nothing is read outside the arrays. No line is printed,
// so what these tests hold against the dump is the address sanitizer and the checked views of a debug build.

#include "sparse/ma38/print/print.h"
#include "sparse/ma38/factors/factors.h"
#include "tests/sparse/ma38/routines.h"

namespace {

using namespace corvidnum::ma38;
using namespace reference;

/// A call with arrays of exactly the documented lengths: factors in two blocks, or in one.
struct Call : Factoring {
  int n, ne = 10, lw;
  Vector b, x, w;

  explicit Call(int nblks) : Factoring(given(), {"", nblks - 1, 1, 0, 64, 1, 0, 4, 16, 1.0, 0.1}) {
    factor(), shrink();
    n = matrix.n, lw = 4 * n, b = x = Vector(n), w = Vector(lw);
    icntl[2] = 5, icntl[7] = 1;
  }
  /// Blocks of order 1 and 4. The second has several elements, some with children.
  static Coordinates given() {
    return {5, 5, {1, 1, 2, 3, 4, 5, 2, 3, 4, 5}, {1, 3, 2, 3, 4, 5, 3, 4, 5, 2}, Vector(10, 1.5)};
  }
  /// KEEP as it is when a refactorisation begins.
  Ints keep_of_pattern() const {
    Ints cleared = keep;
    std::fill_n(cleared.begin(), 3, 0);
    return cleared;
  }
  /// What every routine dumps, at input and at output.
  void dump_all() const {
    for (const Who who : {kFactor, kRefactor, kSolve})
      for (const bool output : {false, true}) {
        const Ints known = who == kRefactor && !output ? keep_of_pattern() : keep;
        ma38_print({who, output, n, ne, 0, 0, int(value.size()), int(index.size()), lw, value.data(),
                    index.data(), known.data(), b.data(), x.data(), w.data(), cntl.data(), icntl.data(),
                    info.data(), rinfo.data()});
      }
  }
};

class ArgumentDump : public testing::TestWithParam<int> {};

TEST_P(ArgumentDump, WalksGoodFactorsAtEveryLevel) {
  Call call(GetParam());
  const StoredFactors factors(call.keep, call.index, call.value);
  ASSERT_EQ(factors.fault, "");
  ASSERT_EQ(factors.nblks, GetParam());
  ASSERT_GT(factors.blocks.back().elements.size(), 1u);
  ASSERT_FALSE(factors.blocks.back().elements.back().children.empty());
  const corvidnum::OneBased<const int> index(call.index.data(), int(call.index.size()));
  EXPECT_TRUE(locate_pattern(call.n, int(call.index.size()), index, call.keep_of_pattern().data()).good);
  EXPECT_FALSE(locate_pattern(call.n + 1, int(call.index.size()), index, call.keep.data()).good);
  for (const int level : {2, 3, 4, 5, INT_MAX}) {
    call.icntl[2] = level;
    call.dump_all();
  }
}

TEST_P(ArgumentDump, ReadsNothingOutsideWithDamagedArguments) {
  Call call(GetParam());
  const auto dump = [&call](std::size_t) { call.dump_all(); };
  for_each_damage(call.index, call.n, dump);
  for_each_damage(call.keep, call.n, dump);
  for (int* const scalar : {&call.n, &call.ne, &call.info[0]}) {
    Ints word{*scalar};
    for_each_damage(word, call.n, [&](std::size_t) { *scalar = word[0], call.dump_all(); });
    *scalar = word[0];
  }
}

TEST_P(ArgumentDump, ReadsNothingOutsideWithShortArrays) {
  for (const bool of_index : {true, false}) {
    for (Call call(GetParam()); !call.index.empty() && !call.value.empty();) {
      of_index ? call.index.pop_back() : call.value.pop_back();
      of_index ? call.index.shrink_to_fit() : call.value.shrink_to_fit();
      call.dump_all();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Blocks, ArgumentDump, testing::Values(1, 2));

}  // namespace
