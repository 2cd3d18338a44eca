// MA50BD and MA50CD, and below them the dense factorisations and solves, with splits and orders that the
// routines never ask for: factors are judged by the consistent systems that they solve.

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <set>

#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"
#include "tests/support/sparse_matrices.h"

namespace {

using namespace reference;
using Ints = std::vector<int>;

struct Block {
  int m, n, ne, np, lfact;
  Vector aa, fact, w, cntl{0.5, 0.1, 0.0, 1e-10};
  Ints irna, iptra, ip, iq{0}, irnf, iptrl, iptru, iw, info = Ints(7), icntl{0, 0, 0, 3, 32, 0, 0};
  double rinfo = -1.0;

  /// @param sparse columns that are eliminated sparsely, from the first on
  Block(const Coordinates& a, int sparse)
      : m(a.m),
        n(a.n),
        ne(a.entries()),
        np(sparse),
        lfact(8 * m * n + 4 * (m + n) + 10),
        fact(lfact),
        w(m),
        ip(m),
        irnf(lfact),
        iptrl(n),
        iptru(n),
        iw(m + 2 * n) {
    for (int j = 1; j <= n; ++j) {
      iptra.push_back(static_cast<int>(aa.size()) + 1);
      for (int k = 0; k < ne; ++k) {
        if (a.columns[k] == j) aa.push_back(a.values[k]), irna.push_back(a.rows[k]);
      }
    }
    std::iota(ip.begin(), ip.end(), 1);
  }
  int factor(int job) {
    Ints order = ip;
    corvidnum::MA50BD(&m, &n, &ne, &job, aa.data(), irna.data(), iptra.data(), cntl.data(), icntl.data(),
                      order.data(), iq.data(), &np, &lfact, fact.data(), irnf.data(), iptrl.data(),
                      iptru.data(), w.data(), iw.data(), info.data(), &rinfo);
    return info[0];
  }
  /// A x = b, where column k of the factors is column iq(k) of A.
  Vector solve(int transposed, const Vector& b) {
    Vector x(transposed ? m : n, 77.0), work(std::max(m, n), 66.0);
    Ints status(7, 55);
    corvidnum::MA50CD(&m, &n, icntl.data(), iq.data(), &np, &transposed, &lfact, fact.data(), irnf.data(),
                      iptrl.data(), iptru.data(), b.data(), x.data(), work.data(), status.data());
    EXPECT_EQ(status, Ints(7, 55));  // written for an error only
    return x;
  }
  Coordinates matrix() const {
    Coordinates a{m, n, irna, {}, aa};
    for (int j = 1; j <= n; ++j) a.columns.resize((j < n ? iptra[j] : ne + 1) - 1, j);
    return a;
  }
  bool lacks_pivot(int j) const { return j < np && iptrl[j] == iptru[j]; }
};

/// A column without pivot is dependent on others, or, once it has got other values, is left out of systems.
void expect_solved(Block& block, Random& random, double limit = 1e-9) {
  const Coordinates a = block.matrix();
  bool left_out = false;
  for (const int transposed : {0, 1}) {
    if (transposed && left_out && limit > 1e-9) break;
    Vector truth = random_vector(transposed ? a.m : a.n, random);
    for (int j = 0; j < a.n && !transposed; ++j) {
      if (!block.lacks_pivot(j)) continue;
      truth[block.iq[0] > 0 ? block.iq[j] - 1 : j] = 0.0;
      left_out = true;
    }
    const Vector b = multiply(a, truth, transposed != 0), x = block.solve(transposed, b);
    EXPECT_LT(scaled_residual(a, x, b, transposed != 0), limit) << "transposed " << transposed;
    const auto zeros = static_cast<int>(std::count(x.begin(), x.end(), 0.0));
    EXPECT_LE(static_cast<int>(x.size()) - zeros, block.info[4]) << "a basic solution";
  }
}

/// Kinds of blocks: sparse and denser, wide and tall, with null columns, with columns that depend on others.
Coordinates kind(int which, Random& random, int most) {
  const int m = number(random, 1, most), n = which % 3 == 0 ? m : number(random, 1, most);
  Coordinates a = which % 7 == 6 ? low_rank_matrix(m, n, number(random, 1, std::min(m, n)), random)
                                 : random_matrix(m, n, which % 2 == 0 ? 0.15 : 0.4, random);
  std::set<std::pair<int, int>> places;
  Coordinates result{m, n, {}, {}, {}};
  for (int i = 1; which % 3 == 0 && i <= m; ++i) result.add(i, i, 3.0), places.emplace(i, i);
  for (int k = 0; k < a.entries(); ++k) {
    if (!places.emplace(a.rows[k], a.columns[k]).second || (which % 5 == 4 && a.columns[k] % 4 == 1))
      continue;
    // Small integers make exact cancellation, and with it missing pivots, common.
    result.add(a.rows[k], a.columns[k], which % 4 == 1 ? std::round(2.0 * a.values[k]) : a.values[k]);
  }
  if (result.entries() == 0) result.add(1, 1, 1.0);
  return result;
}

TEST(BlockKernels, SolveByTheFactorsOfEveryJobAndSplit) {
  constexpr int kWidths[] = {32, 1, 0, 2, 3, 8, -3, 2147483647};
  Random random(5);
  int deficient = 0, refused = 0;
  for (int trial = 0; trial < 800; ++trial) {
    const Coordinates a = kind(trial, random, trial % 40 == 0 ? 70 : 25);
    Block b(a, trial % 3 == 1 ? 0 : number(random, 0, a.n));
    SCOPED_TRACE(testing::Message() << "trial " << trial << ", " << a.m << " x " << a.n << ", np " << b.np);
    std::shuffle(b.ip.begin(), b.ip.end(), random);
    if (trial % 2 == 0) {
      b.iq.resize(b.n);
      std::iota(b.iq.begin(), b.iq.end(), 1);
      std::shuffle(b.iq.begin(), b.iq.end(), random);
    }
    b.icntl[4] = kWidths[trial % 8];
    ASSERT_GE(b.factor(1), 0);
    const int rank = b.info[4];
    EXPECT_EQ(rank, dense_rank(dense(a)));
    EXPECT_EQ(b.info[0], rank < std::min(b.m, b.n) ? 1 : 0);
    deficient += b.info[0];
    expect_solved(b, random);

    const double operations = b.rinfo;
    const Vector fact = b.fact;
    ASSERT_GE(b.factor(2), 0);  // the same work on the same numbers
    EXPECT_EQ(b.info[4], rank);
    EXPECT_EQ(b.rinfo, operations);
    EXPECT_EQ(b.fact, fact);

    ASSERT_GE(b.factor(3), 0);
    EXPECT_EQ(b.info[4], rank);
    expect_solved(b, random);
    for (double& value : b.aa) value *= 1.0 + 0.01 * uniform(random);
    const int status = b.factor(2);
    refused += status < 0;
    EXPECT_TRUE(status >= 0 || status < -7) << status;
    if (status >= 0) expect_solved(b, random, 1e-7);
  }
  EXPECT_GT(deficient, 50);
  EXPECT_GT(800 - refused, 400);
}

TEST(BlockKernels, FaultsAndOddValuesHaveTheirStatus) {
  Random random(10);
  const Coordinates a = banded_matrix(6, 1, 1, random);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    std::function<void(Block&)> change;
    int job, status;
  } table[] = {
      {[](Block& b) { b.m = 0; }, 1, -1},
      {[](Block& b) { b.n = -1; }, 1, -1},
      {[](Block& b) { b.ne = 0; }, 1, -2},
      {[](Block& b) { b.np = 7; }, 1, -7},
      {[](Block& b) { b.np = -1; }, 1, -7},
      {[](Block& b) { b.lfact = b.ne + 1; }, 1, -3},
      {[](Block&) {}, 0, -5},
      {[](Block&) {}, 4, -5},
      {[](Block& b) { b.irna[1] = b.irna[0]; }, 1, -4},
      {[&](Block& b) { b.aa[0] = b.aa[1] = nan; }, 1, 1},  // a null column
      {[&](Block& b) { b.aa.assign(b.ne, nan); }, 1, 1},
      {[&](Block& b) { b.cntl.assign(3, nan), b.cntl.push_back(0.0); }, 1, 0},
      {[](Block& b) { b.factor(1), std::fill(&b.aa[b.iptra[2] - 1], &b.aa[b.iptra[3] - 1], 0.0); }, 2,
       -7 - 3},
      {[](Block& b) { b.cntl[2] = 0.5, b.factor(1); }, 2, -6},
      {[](Block& b) { b.cntl[2] = 0.5, b.factor(1); }, 3, -6},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(&row - table);
    Block block(a, 4);
    row.change(block);
    EXPECT_EQ(block.factor(row.job), row.status);
  }
  const int none = 0, one = 1;
  int status = 0;
  corvidnum::MA50CD(&none, &one, Ints(7).data(), &none, &none, &none, &one, nullptr, nullptr, nullptr,
                    nullptr, nullptr, nullptr, nullptr, &status);
  EXPECT_EQ(status, -1);
}

TEST(BlockKernels, DropsFromBothFactors) {
  for (const int row : {1, 2}) {
    Block block({2, 2, {1, 2, row}, {1, 2, 3 - row}, {1.0, 1.0, 0.25}}, 2);
    block.cntl[2] = 0.5;
    EXPECT_EQ(block.factor(1), 0);
    EXPECT_EQ(block.info[5], 1);
    EXPECT_EQ(block.solve(0, {3.0, 5.0}), (Vector{3.0, 5.0}));
  }
  // Cancellation makes entry (4,2) null, and it is dropped. Row 4 of column 3 is then reached through column
  // 1 alone, so column 2 must not prune it.
  const Coordinates a{4,
                      4,
                      {1, 2, 3, 4, 1, 2, 3, 4, 1, 3, 4},
                      {1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 4},
                      {1.0, 0.5, 0.5, 0.5, 1.0, 2.0, 1.0, 0.5, 1.0, 3.0, 2.0}};
  Block block(a, 4);
  block.cntl[2] = 1e-3;
  EXPECT_EQ(block.factor(1), 0);
  EXPECT_EQ(block.info[5], 1);
  const Vector b{1.0, 2.0, 3.0, 4.0};
  EXPECT_LT(scaled_residual(a, block.solve(0, b), b), 1e-14);
}

TEST(BlockKernels, ColumnsWithoutFiniteFactorsAreNull) {
  const double inf = HUGE_VAL, nan = std::numeric_limits<double>::quiet_NaN(),
               least = std::nextafter(0x1p-1024, 1);
  const struct {
    double first[2], second[2];  // columns
    int rank[3];                 // with 0, 1 and 2 columns that go sparse
  } cases[] = {
      {{least, 0}, {0, 1}, {2, 2, 2}},      {{0x1p-1024, 0}, {0, 1}, {1, 1, 1}},  // its reciprocal overflows
      {{inf, 1}, {1, 1}, {1, 1, 1}},        {{nan, 1}, {1, 1}, {1, 1, 1}},
      {{1, 1}, {1e308, -1e308}, {1, 1, 1}},  // an update overflows
      {{1e-200, 0}, {1e200, 1}, {2, 1, 1}},  // a multiplier does, only where the column is sparse
  };
  for (const auto& c : cases) {
    for (const int width : {0, 1, 2}) {
      for (const int np : {0, 1, 2}) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases << ", " << width << ", np " << np);
        Block block({2, 2, {1, 2, 1, 2}, {1, 1, 2, 2}, {c.first[0], c.first[1], c.second[0], c.second[1]}},
                    np);
        block.cntl[3] = 0.0;
        block.icntl[4] = width;
        EXPECT_EQ(block.factor(1), c.rank[np] < 2 ? 1 : 0);
        EXPECT_EQ(block.info[4], c.rank[np]);
        for (const int transposed : {0, 1}) {
          if (c.rank[np] == 2) continue;
          for (const double x : block.solve(transposed, {1.0, 2.0})) EXPECT_TRUE(std::isfinite(x)) << x;
        }
        // On the same pivots as before, but for the full part, which chooses its own.
        Block same({2, 2, {1, 2, 1, 2}, {1, 1, 2, 2}, {1.0, 0.5, 0.5, 1.0}}, np);
        same.cntl[3] = 0.0;
        ASSERT_EQ(same.factor(1), 0);
        same.aa = block.aa;
        const int status = same.factor(2);
        EXPECT_EQ(status<0, np> 0 && c.rank[np] < 2 && !(np == 1 && &c - cases == 4)) << status;
        EXPECT_TRUE(status < 0 || same.info[4] == c.rank[np]);
      }
    }
  }
}

/// MA50BD gives the dense factorisations no such column, but an update among them may make one.
TEST(BlockKernels, NoFullColumnWithANaNBesideItsLargestElement) {
  const int m = 2, n = 1, width = 2;
  const double tolerance = 0.0;
  for (const int level : {1, 2, 3}) {
    double a[] = {1.0, std::numeric_limits<double>::quiet_NaN()};
    int pivot = 0, rank = 77;
    if (level == 1) corvidnum::ma50_full_factor1(&m, &n, a, &m, &tolerance, &pivot, &rank);
    if (level == 2) corvidnum::ma50_full_factor2(&m, &n, a, &m, &tolerance, &pivot, &rank);
    if (level == 3) corvidnum::ma50_full_factor3(&m, &n, a, &m, &width, &tolerance, &pivot, &rank);
    EXPECT_EQ(rank, 0);
    EXPECT_EQ(pivot, -1);
  }
}

/// Of the rows within the threshold of the largest element 1, the first is the pivot.
TEST(BlockKernels, ThresholdLetsTheFirstRowPassWithin0And1) {
  const struct {
    double threshold, value;
    int pivotRow;
  } cases[] = {{0.1, 0.2, 1}, {0.1, 0.05, 2}, {0.5, 0.5, 1}, {-1, 1e-9, 1}, {2, 0.9, 2}, {2, 1.0, 1}};
  for (const auto& c : cases) {
    Block block({2, 2, {1, 2, 1, 2}, {1, 1, 2, 2}, {c.value, 1.0, 3.0, 4.0}}, 2);
    block.cntl[1] = c.threshold;
    EXPECT_EQ(block.factor(1), 0);
    EXPECT_EQ(block.irnf[block.iptru[0]], c.pivotRow) << c.threshold << ", " << c.value;
  }
}

TEST(BlockKernels, PivotToleranceIsStrictAndNotANumberIsNoPivot) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    double value, tolerance;
    int rank;
  } cases[] = {{0.5, 0.5, 0}, {0.5, 0.499, 1}, {0.0, -1.0, 0}, {nan, 0.0, 0}, {1.0, nan, 0}};
  for (const auto& c : cases) {
    for (const int width : {0, 1, 2, 2147483647}) {
      for (const int np : {0, 1}) {
        SCOPED_TRACE(testing::Message() << c.value << ", " << c.tolerance << ", " << width << ", np " << np);
        Block block({1, 1, {1}, {1}, {c.value}}, np);
        block.cntl[3] = c.tolerance;
        block.icntl[4] = width;
        block.factor(1);
        EXPECT_EQ(block.info[4], c.rank);
      }
    }
  }
}

}  // namespace
