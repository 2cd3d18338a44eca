// From triplets to columns, the block triangular form and the off-diagonal part, against plain searches.

#include <gtest/gtest.h>

#include "sparse/ma38/btf_permute.h"
#include "sparse/ma38/kernels.h"
#include "tests/support/sparse_matrices.h"

namespace {

using namespace corvidnum::ma38;
using corvidnum::OneBased;
using reference::Coordinates;
using reference::Dense;
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
  EXPECT_EQ(kBadEntryCount, none.INFO(1));
  EXPECT_EQ(2, none.INFO(3));
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

/// Which positions reach which, along entries of the permuted matrix; a position reaches itself.
std::vector<std::vector<bool>> reachable(const Dense& b) {
  const int n = b.rows;
  std::vector<std::vector<bool>> reach(n, std::vector<bool>(n));
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) reach[i][j] = i == j || b(i, j) != 0.0;
  }
  for (int k = 0; k < n; ++k) {
    for (int i = 0; i < n; ++i) {
      for (int j = 0; reach[i][k] && j < n; ++j) reach[i][j] = reach[i][j] || reach[k][j];
    }
  }
  return reach;
}

/// A matrix in columns with its block form; arrays have exactly the documented lengths.
struct Permuted {
  Converted in;
  bool preserved;
  Ints ai, ap, rperm, cperm, starts, work, blkp;
  Vector ax;
  BlockForm form{};

  Permuted(const Coordinates& a, bool kept) : in(a, false), preserved(kept) {
    const int n = in.n, places = (preserved ? 1 : 2) * in.nz;
    ap.assign(in.index.begin(), in.index.begin() + n + 1);
    ai.assign(in.index.begin() + n + 1, in.index.begin() + n + 1 + in.nz);
    ax.assign(in.value.begin(), in.value.begin() + in.nz);
    ai.resize(places), ax.resize(places);
    rperm.resize(n), cperm.resize(n), starts.resize(n + 1), work.resize(btf_work(n));
    form =
        ma38_btf_permute(columns(), n, in.nz, preserved, view(rperm), view(cperm), view(starts), view(work));
    if (form.nblks > 1) blkp.assign(work.end() - form.nblks - 1, work.end());
  }
  Columns columns() { return {view(ap), view(ai), view(ax)}; }
  int block_of(int position) const {
    return static_cast<int>(std::upper_bound(blkp.begin(), blkp.end(), position) - blkp.begin());
  }
};

Dense in_position_order(const Dense& a, const Permuted& p) {
  Dense b(a.rows, a.cols);
  for (int i = 0; i < a.rows; ++i) {
    for (int j = 0; j < a.cols; ++j) b(i, j) = a(p.rperm[i] - 1, p.cperm[j] - 1);
  }
  return b;
}

/// Upper triangular by blocks. With a full diagonal each block is strong, so none could be split.
void check_form(const Dense& b, const Permuted& p) {
  const int n = b.rows;
  bool full = true;
  for (int k = 0; k < n; ++k) full = full && b(k, k) != 0.0;
  const auto reach = reachable(b);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      const int row_block = p.block_of(i + 1), column_block = p.block_of(j + 1);
      if (row_block > column_block) {
        EXPECT_EQ(0.0, b(i, j)) << i << ' ' << j;
      }
      if (full) {
        EXPECT_EQ(row_block == column_block, reach[i][j] && reach[j][i]) << i << ' ' << j;
      }
    }
  }
}

/// The blocks of a matrix permuted in place are where `starts` says.
void check_diagonal_part(const Dense& b, Permuted& p) {
  for (int k = 1; k <= b.rows; ++k) {
    const int first = p.blkp[p.block_of(k) - 1];
    Vector column(b.rows);
    for (int q = p.starts[k - 1]; q < p.starts[k]; ++q) column[first - 1 + p.ai[q - 1] - 1] += p.ax[q - 1];
    for (int i = 1; i <= b.rows; ++i) {
      EXPECT_EQ(p.block_of(i) == p.block_of(k) ? b(i - 1, k - 1) : 0.0, column[i - 1]) << i << ' ' << k;
    }
  }
}

void check_off_diagonal_rows(const Dense& b, Permuted& p) {
  const int n = b.rows;
  int expected = 0;
  for (int i = 1; i <= n; ++i) {
    for (int j = 1; j <= n; ++j) expected += p.block_of(i) < p.block_of(j) && b(i - 1, j - 1) != 0.0;
  }
  if (!p.preserved) {
    ASSERT_EQ(expected, p.form.nzoff);
  }
  Ints offp(n + 1, -7), offi(expected), work(n), icntl(20);
  Vector offx(expected);
  const OffDiagonalInput input{kFactor,
                               n,
                               static_cast<int>(p.form.nblks),
                               p.preserved,
                               p.columns(),
                               view(p.rperm),
                               view(p.cperm),
                               view(p.blkp),
                               icntl.data()};
  EXPECT_EQ(0, ma38_offdiag_rows(input, view(offp), view(offi), view(offx), view(work)));
  int place = 0;
  for (int i = 1; i <= n; ++i) {
    EXPECT_EQ(place + 1, offp[i - 1]);
    for (int j = 1; j <= n; ++j) {  // ascending columns
      if (p.block_of(i) >= p.block_of(j) || b(i - 1, j - 1) == 0.0) continue;
      EXPECT_EQ(j, offi[place]);
      EXPECT_EQ(b(i - 1, j - 1), offx[place]);
      ++place;
    }
  }
  EXPECT_EQ(expected + 1, offp[n]);
}

TEST(Ma38BlockForm, IsTriangularAndCannotBeFiner) {
  reference::Random random(38);
  int several = 0, whole = 0;
  const double densities[] = {0.02, 0.1, 0.2, 0.3, 0.6};
  for (int draw = 0; draw < 300; ++draw) {
    const int n = 1 + draw % 13;
    Coordinates a = reference::random_matrix(n, n, densities[draw % 5], random);
    if (draw % 3 > 0) {  // a full diagonal, scattered
      for (int k = 1; k <= n; ++k) a.add(k, (k * 7 + draw) % n + 1, 2.0);
    }
    if (a.values.empty()) continue;
    for (const bool preserved : {false, true}) {
      SCOPED_TRACE(testing::Message() << "draw " << draw << (preserved ? ", preserved" : ""));
      Permuted p(a, preserved);
      if (p.form.nblks == 1) {
        ++whole;
        EXPECT_EQ(0, p.form.nzoff);
        continue;
      }
      ++several;
      Ints rows = p.rperm, cols = p.cperm;
      std::sort(rows.begin(), rows.end()), std::sort(cols.begin(), cols.end());
      for (int k = 1; k <= n; ++k) ASSERT_TRUE(rows[k - 1] == k && cols[k - 1] == k);
      const Dense b = in_position_order(reference::dense(a), p);
      check_form(b, p);
      if (preserved) {
        for (int k = 1; k <= n; ++k) EXPECT_EQ(k, p.starts[p.rperm[k - 1] - 1]);
      } else {
        check_diagonal_part(b, p);
      }
      check_off_diagonal_rows(b, p);
    }
  }
  EXPECT_GT(several, 100);
  EXPECT_GT(whole, 50);
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
