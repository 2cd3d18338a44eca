// From triplets to columns, the matching behind the block form, warnings and errors that come together, and
// entries below the blocks.

#include <gtest/gtest.h>

#include "sparse/ma38/matrix/matrix.h"
#include "sparse/ma48/kernels.h"
#include "tests/support/sparse_matrices.h"

namespace {

using namespace corvidnum::ma38;
using corvidnum::OneBased;
using reference::Coordinates;
using reference::Vector;
using Ints = std::vector<int>;

template <class T>
OneBased<T> view(std::vector<T>& v) {
  return {v.data(), static_cast<Index>(v.size())};
}

/// ma38_convert in arrays of exactly the shortest lengths.
struct Converted {
  Ints index, info = Ints(40);
  Vector value, rinfo = Vector(20);
  int n, nz;
  bool good;

  Converted(const Coordinates& a, bool transposed) : n(a.n), nz(a.entries()) {
    const int ne = nz, longest = std::max(2 * ne, n + 1) + ne;
    index.assign(longest + 2 * n + 1, -7);
    value.assign(2 * ne, 7e77);
    std::copy(a.rows.begin(), a.rows.end(), index.begin());
    std::copy(a.columns.begin(), a.columns.end(), index.begin() + ne);
    std::copy(a.values.begin(), a.values.end(), value.begin());
    Ints icntl(20);
    icntl[0] = 6, icntl[2] = 3;
    good =
        ma38_convert(kFactor, n, nz, transposed, view(value), view(index), view(index).part(longest + 1, n),
                     view(index).part(longest + n + 1, n + 1), icntl.data(), {info.data(), rinfo.data()});
  }
  int INFO(int number) const { return info[number - 1]; }
};

TEST(Ma38Convert, SumsDropsAndTransposes) {
  Coordinates a{4, 4, {}, {}, {}};
  a.add(3, 2, 1.0), a.add(0, 1, 9.0), a.add(1, 4, 2.0), a.add(3, 2, 4.0), a.add(2, 2, 8.0);
  a.add(5, 5, 9.0), a.add(1, 4, 16.0), a.add(4, 1, 32.0), a.add(3, 2, 64.0), a.add(2, -1, 9.0);
  const struct {
    bool transposed;
    Ints index;
    Vector value;
  } cases[] = {{false, {1, 2, 4, 4, 5, 4, 3, 2, 1}, {32.0, 69.0, 8.0, 18.0}},
               {true, {1, 2, 3, 4, 5, 4, 2, 2, 1}, {18.0, 8.0, 69.0, 32.0}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.transposed);
    Converted got(a, c.transposed);
    EXPECT_TRUE(got.good);
    EXPECT_EQ(c.index, Ints(got.index.begin(), got.index.begin() + 9));
    EXPECT_EQ(c.value, Vector(got.value.begin(), got.value.begin() + 4));
    EXPECT_EQ((Ints{3, 3, 3, 0, 4, 4, 0}), Ints(got.info.begin(), got.info.begin() + 7));
  }
  Coordinates outside{2, 2, {3, 0}, {1, 1}, {1.0, 2.0}};
  Converted none(outside, false);
  EXPECT_FALSE(none.good);
  EXPECT_EQ(MA38_STATUS_BAD_ENTRY_COUNT, none.INFO(1));
  EXPECT_EQ(2, none.INFO(3));
}

/// Rows 2 and 3 find no column; the block form needs a permutation, so that columns 3 and 4 must get them.
TEST(Ma38Matching, GivesRowsLeftOverToColumnsLeftOver) {
  const int n = 4, places = 3;
  const Ints columns{1, 1, 2}, starts{1, 2, 3, 3}, lengths{1, 1, 0, 1};
  int matched = -1;
  Ints row_of(n), work(4 * n);
  corvidnum::ma48_matching_entry(&n, columns.data(), &places, starts.data(), lengths.data(), row_of.data(),
                                 &matched, work.data());
  EXPECT_EQ(2, matched);
  EXPECT_EQ((Ints{1, 4, -2, -3}), row_of);
}

TEST(Ma38SetInfo, CombinesCodes) {
  const struct {
    int before, code, after;
  } cases[] = {{0, -3, -3}, {-3, -4, -5}, {-4, -3, -5}, {1, -2, -2}, {0, 1, 1}, {1, 2, 3}, {3, 1, 3},
               {2, 1, 3},   {2, 4, 6},    {-1, 4, -1},  {0, 8, 8},   {8, 8, 8}, {5, 0, 5}, {-3, -3, -3}};
  const Ints icntl(20);
  for (const auto& c : cases) {
    int status = c.before;
    ma38_set_info(kRefactor, icntl.data(), status, c.code, 0);
    EXPECT_EQ(c.after, status) << c.before << " and " << c.code;
  }
}

TEST(Ma38OffDiagonalRows, CountsWhatLiesBelowTheBlocks) {
  // Blocks {1}, {2, 3}; entries (2, 1) and (3, 1) are below, (1, 3) is above.
  Ints ap{1, 4, 5, 7}, ai{1, 2, 3, 2, 3, 1}, order{1, 2, 3}, blkp{1, 2, 4}, icntl(20), offp(4), offi(1),
      work(3);
  Vector ax{1.0, 2.0, 3.0, 4.0, 5.0, 6.0}, offx(1);
  icntl[2] = 3;
  const OffDiagonalInput input{
      kRefactor,   3,           2,          true,        {view(ap), view(ai), view(ax)},
      view(order), view(order), view(blkp), icntl.data()};
  EXPECT_EQ(2, ma38_offdiag_rows(input, view(offp), view(offi), view(offx), view(work)));
  EXPECT_EQ((Ints{1, 2, 2, 2}), offp);
  EXPECT_EQ(3, offi[0]);
  EXPECT_EQ(6.0, offx[0]);
}

}  // namespace
