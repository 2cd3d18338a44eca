// Dump of the arguments, which may come in damaged: nothing is read outside the arrays. No line is printed,
// so what these tests hold against the dump is the address sanitizer and the checked views of a debug build.

#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "sparse/ma38/kernels.h"

namespace {

using namespace corvidnum::ma38;
using corvidnum::OneBased;
using Ints = std::vector<int>;
using Vector = std::vector<double>;

void append(Ints& target, const Ints& words) { target.insert(target.end(), words.begin(), words.end()); }

/// A call with arrays of exactly the documented lengths, and factors of order 4.
struct Call {
  int n = 4, ne = 7, lw = 16;
  Ints index, keep = Ints(20), icntl = Ints(20), info = Ints(40);
  Vector value, b = Vector(4), x = Vector(4), w = Vector(16), cntl = Vector(10), rinfo = Vector(20);

  explicit Call(int nblks) {
    icntl[2] = 5, icntl[7] = 1;
    index = {1, 2, 4, 6, 8, 1, 1, 2, 2, 3, 3, 4};  // the copy: column pointers, rows
    if (nblks > 1) index.push_back(2);             // off the blocks
    keep[3] = static_cast<int>(index.size()) + 1;
    // A block of 3 whose front has two elements: 2 pivots, then 1 with the first as child; or one of 4 alike.
    const int order = nblks > 1 ? 3 : 4;
    append(index, {nblks > 1 ? 2 : 1, 2, order, order - 2, order - 2, 1, order > 3 ? 12 : 10});
    append(index, {1, 2, order - 2, order - 2, 0, order, order, 3});
    if (order > 3) index.push_back(4);
    index.push_back(3);
    if (order > 3) index.push_back(4);
    append(index, {order > 3 ? 13 : 9, order - 2, 0, 0, 1, 0, 0, 1});
    if (nblks > 1) append(index, {1, 1, 1, 2, 5, 1, 2, 2, 2, 2});  // block pointers, block starts, row starts
    append(index, {2, 1, 3, 4, 1, 2, 4, 3, 0, nblks - 1, nblks, 1, 7, 4, 7});
    value = Vector(nblks > 1 ? 18 : 23, 1.5);
    keep[0] = keep[2] = 1, keep[1] = lvalue(), keep[4] = lindex();
  }
  int lvalue() const { return static_cast<int>(value.size()); }
  int lindex() const { return static_cast<int>(index.size()); }
  /// What every routine dumps, at input and at output.
  void dump_all() const {
    for (const Who who : {kFactor, kRefactor, kSolve})
      for (const bool output : {false, true})
        ma38_print({who, output, n, ne, 0, 0, lvalue(), lindex(), lw, value.data(), index.data(), keep.data(),
                    b.data(), x.data(), w.data(), cntl.data(), icntl.data(), info.data(), rinfo.data()});
  }
};

class ArgumentDump : public testing::TestWithParam<int> {};

TEST_P(ArgumentDump, WalksGoodFactorsAtEveryLevel) {
  Call call(GetParam());
  const OneBased<const int> index(call.index.data(), call.lindex());
  const KeptFactors factors = locate_factors(4, call.lvalue(), call.lindex(), index, call.keep.data());
  ASSERT_TRUE(factors.good);
  ASSERT_TRUE(elements_are_sound(index, factors.lu_ints, factors.top_end, 4, GetParam(),
                                 call.lvalue() - factors.lu_reals + 1));
  for (const int level : {2, 3, 4, 5, INT_MAX}) {
    call.icntl[2] = level;
    call.dump_all();
  }
}

TEST_P(ArgumentDump, ReadsNothingOutsideWithDamagedArguments) {
  const Ints damages = {INT_MIN, -1, 0, 1, 2, 3, 5, 9, 40, INT_MAX};
  const auto damage = [&](auto&& word_of, std::size_t words) {
    for (std::size_t k = 0; k < words; ++k) {
      Call call(GetParam());
      for (const int value : damages) {
        word_of(call, k) = value;
        call.dump_all();
      }
    }
  };
  damage([](Call& call, std::size_t k) -> int& { return call.index[k]; }, Call(GetParam()).index.size());
  damage([](Call& call, std::size_t k) -> int& { return call.keep[k]; }, 8);
  damage([](Call& call, std::size_t) -> int& { return call.n; }, 1);
  damage([](Call& call, std::size_t) -> int& { return call.ne; }, 1);
  damage([](Call& call, std::size_t) -> int& { return call.info[0]; }, 1);
}

TEST_P(ArgumentDump, ReadsNothingOutsideWithShortArrays) {
  for (const bool of_index : {true, false}) {
    for (Call call(GetParam()); call.lindex() > 0 && call.lvalue() > 0;) {
      of_index ? call.index.pop_back() : call.value.pop_back();
      of_index ? call.index.shrink_to_fit() : call.value.shrink_to_fit();
      call.dump_all();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Blocks, ArgumentDump, testing::Values(1, 2));

}  // namespace
