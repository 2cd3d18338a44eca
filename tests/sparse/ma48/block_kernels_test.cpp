// MA50BD and MA50CD, and below them the dense factorisations and solves, with arguments, splits and values
// that the routines never pass on. What they make of sound blocks is judged by the routines' tests.

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <limits>

#include "sparse/ma48/kernel_codes.h"
#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"
#include "tests/support/sparse_matrices.h"

namespace {

using namespace reference;
using namespace corvidnum;
using Ints = std::vector<int>;
const double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Block {
  int m, n, ne, np, lfact;
  Vector aa, fact, w, cntl = Vector(kMa50CntlLength);
  Ints irna, iptra, ip, iq{0}, irnf, iptrl, iptru, iw;
  Ints icntl = Ints(kMa50IcntlLength), info = Ints(kMa50InfoLength);
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
    ma50id_(cntl.data(), icntl.data());
    ICNTL(kPrintLevel) = 0;
  }
  double& CNTL(KernelCntl position) { return cntl[position - 1]; }
  int& ICNTL(KernelIcntl position) { return icntl[position - 1]; }
  int INFO(KernelInfo position) const { return info[position - 1]; }
  int factor(int job) {
    Ints order = ip;
    MA50BD(&m, &n, &ne, &job, aa.data(), irna.data(), iptra.data(), cntl.data(), icntl.data(), order.data(),
           iq.data(), &np, &lfact, fact.data(), irnf.data(), iptrl.data(), iptru.data(), w.data(), iw.data(),
           info.data(), &rinfo);
    return INFO(kStatus);
  }
  /// A x = b, where column k of the factors is column iq(k) of A.
  Vector solve(int transposed, const Vector& b) {
    Vector x(transposed ? m : n, 77.0), work(std::max(m, n), 66.0);
    Ints status(kMa50InfoLength, 55);
    MA50CD(&m, &n, icntl.data(), iq.data(), &np, &transposed, &lfact, fact.data(), irnf.data(), iptrl.data(),
           iptru.data(), b.data(), x.data(), work.data(), status.data());
    EXPECT_EQ(status, Ints(kMa50InfoLength, 55));  // written for an error only
    return x;
  }
};

TEST(BlockKernels, FaultsAndOddValuesHaveTheirStatus) {
  Random random(10);
  const Coordinates a = banded_matrix(6, 1, 1, random);
  const struct {
    std::function<void(Block&)> change;
    int job, status;
  } table[] = {
      {[](Block& b) { b.m = 0; }, 1, kBadSizes},
      {[](Block& b) { b.n = -1; }, 1, kBadSizes},
      {[](Block& b) { b.ne = 0; }, 1, kNoEntries},
      {[](Block& b) { b.np = 7; }, 1, kBadSparseColumns},
      {[](Block& b) { b.np = -1; }, 1, kBadSparseColumns},
      {[](Block& b) { b.lfact = b.ne + 1; }, 1, kStoreTooShort},
      {[](Block&) {}, 0, kBadJob},
      {[](Block&) {}, 4, kBadJob},
      {[](Block& b) { b.irna[1] = b.irna[0]; }, 1, kRepeatedEntry},
      {[](Block& b) { b.aa[0] = b.aa[1] = kNaN; }, 1, kRankDeficient},  // a null column
      {[](Block& b) { b.aa.assign(b.ne, kNaN); }, 1, kRankDeficient},
      {[](Block& b) { b.cntl.assign(kMa50CntlLength, kNaN), b.CNTL(kPivotTolerance) = 0.0; }, 1, 0},
      {[](Block& b) { b.factor(1), std::fill(&b.aa[b.iptra[2] - 1], &b.aa[b.iptra[3] - 1], 0.0); }, 2,
       kSmallPivot - 3},
      {[](Block& b) { b.CNTL(kDropTolerance) = 0.5, b.factor(1); }, 2, kAfterDropping},
      {[](Block& b) { b.CNTL(kDropTolerance) = 0.5, b.factor(1); }, 3, kAfterDropping},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(&row - table);
    Block block(a, 4);
    row.change(block);
    EXPECT_EQ(block.factor(row.job), row.status);
  }
  const int none = 0, one = 1;
  int status = 0;
  MA50CD(&none, &one, Ints(kMa50IcntlLength).data(), &none, &none, &none, &one, nullptr, nullptr, nullptr,
         nullptr, nullptr, nullptr, nullptr, &status);
  EXPECT_EQ(status, kBadSizes);
}

TEST(BlockKernels, DropsFromBothFactors) {
  for (const int row : {1, 2}) {
    Block block({2, 2, {1, 2, row}, {1, 2, 3 - row}, {1.0, 1.0, 0.25}}, 2);
    block.CNTL(kDropTolerance) = 0.5;
    EXPECT_EQ(block.factor(1), 0);
    EXPECT_EQ(block.INFO(kDropped), 1);
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
  block.CNTL(kDropTolerance) = 1e-3;
  EXPECT_EQ(block.factor(1), 0);
  EXPECT_EQ(block.INFO(kDropped), 1);
  const Vector b{1.0, 2.0, 3.0, 4.0};
  EXPECT_LT(scaled_residual(a, block.solve(0, b), b), 1e-14);
}

TEST(BlockKernels, ColumnsWithoutFiniteFactorsAreNull) {
  const double inf = HUGE_VAL, least = std::nextafter(0x1p-1024, 1);
  const struct {
    double first[2], second[2];  // columns
    int rank[3];                 // with 0, 1 and 2 columns that go sparse
  } cases[] = {
      {{least, 0}, {0, 1}, {2, 2, 2}},      {{0x1p-1024, 0}, {0, 1}, {1, 1, 1}},  // its reciprocal overflows
      {{inf, 1}, {1, 1}, {1, 1, 1}},        {{kNaN, 1}, {1, 1}, {1, 1, 1}},
      {{1, 1}, {1e308, -1e308}, {1, 1, 1}},  // an update overflows
      {{1e-200, 0}, {1e200, 1}, {2, 1, 1}},  // a multiplier does, only where the column is sparse
  };
  for (const auto& c : cases) {
    for (const int width : {0, 1, 2}) {
      for (const int np : {0, 1, 2}) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases << ", " << width << ", np " << np);
        Block block({2, 2, {1, 2, 1, 2}, {1, 1, 2, 2}, {c.first[0], c.first[1], c.second[0], c.second[1]}},
                    np);
        block.CNTL(kPivotTolerance) = 0.0;
        block.ICNTL(kDenseBlockSize) = width;
        EXPECT_EQ(block.factor(1), c.rank[np] < 2 ? 1 : 0);
        EXPECT_EQ(block.INFO(kRank), c.rank[np]);
        for (const int transposed : {0, 1}) {
          if (c.rank[np] == 2) continue;
          for (const double x : block.solve(transposed, {1.0, 2.0})) EXPECT_TRUE(std::isfinite(x)) << x;
        }
        // On the same pivots as before, but for the full part, which chooses its own.
        Block same({2, 2, {1, 2, 1, 2}, {1, 1, 2, 2}, {1.0, 0.5, 0.5, 1.0}}, np);
        same.CNTL(kPivotTolerance) = 0.0;
        ASSERT_EQ(same.factor(1), 0);
        same.aa = block.aa;
        const int status = same.factor(2);
        EXPECT_EQ(status<0, np> 0 && c.rank[np] < 2 && !(np == 1 && &c - cases == 4)) << status;
        EXPECT_TRUE(status < 0 || same.INFO(kRank) == c.rank[np]);
      }
    }
  }
}

/// MA50BD gives the dense factorisations no such column, but an update among them may make one.
TEST(BlockKernels, NoFullColumnWithANaNBesideItsLargestElement) {
  const int m = 2, n = 1, width = 2;
  const double tolerance = 0.0;
  for (const int level : {1, 2, 3}) {
    double a[] = {1.0, kNaN};
    int pivot = 0, rank = 77;
    if (level == 1) ma50_full_factor1(&m, &n, a, &m, &tolerance, &pivot, &rank);
    if (level == 2) ma50_full_factor2(&m, &n, a, &m, &tolerance, &pivot, &rank);
    if (level == 3) ma50_full_factor3(&m, &n, a, &m, &width, &tolerance, &pivot, &rank);
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
    block.CNTL(kThreshold) = c.threshold;
    EXPECT_EQ(block.factor(1), 0);
    EXPECT_EQ(block.irnf[block.iptru[0]], c.pivotRow) << c.threshold << ", " << c.value;
  }
}

TEST(BlockKernels, PivotToleranceIsStrictAndNotANumberIsNoPivot) {
  const struct {
    double value, tolerance;
    int rank;
  } cases[] = {{0.5, 0.5, 0}, {0.5, 0.499, 1}, {0.0, -1.0, 0}, {kNaN, 0.0, 0}, {1.0, kNaN, 0}};
  for (const auto& c : cases) {
    for (const int width : {0, 1, 2, INT_MAX}) {
      for (const int np : {0, 1}) {
        SCOPED_TRACE(testing::Message() << c.value << ", " << c.tolerance << ", " << width << ", np " << np);
        Block block({1, 1, {1}, {1}, {c.value}}, np);
        block.CNTL(kPivotTolerance) = c.tolerance;
        block.ICNTL(kDenseBlockSize) = width;
        block.factor(1);
        EXPECT_EQ(block.INFO(kRank), c.rank);
      }
    }
  }
}

}  // namespace
