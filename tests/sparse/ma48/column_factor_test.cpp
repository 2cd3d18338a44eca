#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <vector>

#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"
#include "tests/sparse/ma48/factor_check.h"
#include "tests/support/sparse_matrices.h"

namespace {

using namespace reference;
using std::size_t;

/// A block by columns, its row priorities, and all that MA50BD leaves. Arrays have exactly their lengths.
struct Block {
  int m, n, ne, np, lfact;
  Vector aa;
  std::vector<int> irna, iptra, ip, iq{0};
  std::vector<double> cntl{0.5, 0.1, 0.0, 0.0};
  std::vector<int> icntl{0, 0, 0, 3, 32, 0, 0};
  Vector fact, w;
  std::vector<int> irnf, iptrl, iptru, iw, info;
  double rinfo = -1.0;

  Block(const Coordinates& a, int sparse, int length)
      : m(a.m),
        n(a.n),
        ne(a.entries()),
        np(sparse),
        lfact(length),
        ip(size_t(a.m)),
        w(size_t(a.m)),
        iptrl(size_t(a.n)),
        iptru(size_t(a.n)),
        iw(size_t(a.m + 2 * a.n)),
        info(7) {
    for (int j = 1; j <= n; ++j) {
      iptra.push_back(static_cast<int>(aa.size()) + 1);
      for (size_t k = 0; k < a.values.size(); ++k) {
        if (a.columns[k] != j) continue;
        aa.push_back(a.values[k]);
        irna.push_back(a.rows[k]);
      }
    }
    std::iota(ip.begin(), ip.end(), 1);
    resize(length);
  }
  void resize(int length) {
    lfact = length;
    fact = Vector(size_t(length));
    irnf = std::vector<int>(size_t(length));
  }
  int factor(int job) {
    std::vector<int> order = ip;
    corvidnum::MA50BD(&m, &n, &ne, &job, aa.data(), irna.data(), iptra.data(), cntl.data(), icntl.data(),
                      order.data(), iq.data(), &np, &lfact, fact.data(), irnf.data(), iptrl.data(),
                      iptru.data(), w.data(), iw.data(), info.data(), &rinfo);
    return info[0];
  }
  Vector column_of_matrix(int j) const {
    if (iq[0] > 0) j = iq[size_t(j - 1)];
    Vector column(size_t(m) + 1);
    const int end = j < n ? iptra[size_t(j)] : ne + 1;
    for (int k = iptra[size_t(j - 1)]; k < end; ++k) column[size_t(irna[size_t(k - 1)])] += aa[size_t(k - 1)];
    return column;
  }
};

/// Each column plus its multiples of earlier ones must be what is stored of it. @return the largest deviation
double rebuild_error(const Block& b) {
  std::vector<Vector> stored(size_t(b.n) + 1, Vector(size_t(b.m) + 1));
  const int mf = b.info[6], nf = b.n - b.np, at = b.iptrl.back();
  Dense full(mf, nf);
  double worst = 0.0;
  int begin = 2, rank = b.info[4];
  for (int j = 1; j <= b.n; ++j) {
    Vector column = b.column_of_matrix(j);
    const int upper = b.iptru[size_t(j - 1)], lower = b.iptrl[size_t(j - 1)];
    for (int k = begin; k < upper; ++k) {
      const Vector& pivotal = stored[size_t(b.irnf[size_t(k)])];
      for (size_t i = 1; i <= size_t(b.m); ++i) column[i] += b.fact[size_t(k)] * pivotal[i];
    }
    for (int k = upper; k < lower; ++k) {
      const double value = b.fact[size_t(k)];
      stored[size_t(j)][size_t(b.irnf[size_t(k)])] = k == upper ? 1.0 / value : value;
    }
    begin = lower;
    rank -= lower > upper;
    if (j > b.np) {
      for (int k = 0; k < mf; ++k) {
        double& value = column[size_t(b.irnf[size_t(at + k)])];
        full(k, j - b.np - 1) = value;
        value = 0.0;
      }
    }
    for (size_t i = 1; i <= size_t(b.m); ++i) {
      worst = std::max(worst, std::fabs(column[i] - stored[size_t(j)][i]));
    }
  }
  if (mf == 0 || nf == 0) return rank == 0 ? worst : HUGE_VAL;
  const std::vector<int> ipiv(b.irnf.begin() + at + mf, b.irnf.begin() + at + mf + nf);
  return std::max(worst, full_factor_error(full, &b.fact[size_t(at)], mf, ipiv, rank));
}

/// Kinds of blocks: sparse and denser, wide and tall, with null columns, with columns that depend on others.
Coordinates kind(int which, Random& random) {
  const int m = number(random, 1, 25), n = which % 3 == 0 ? m : number(random, 1, 25);
  Coordinates a = random_matrix(m, n, which % 2 == 0 ? 0.15 : 0.4, random);
  if (which % 3 == 0) {
    for (int i = 1; i <= m; ++i) a.add(i, i, 0.0), a.values.back() = 3.0;
  }
  Coordinates result{m, n, {}, {}, {}};
  std::vector<char> seen(size_t(m * n));
  for (size_t k = 0; k < a.values.size(); ++k) {
    char& twin = seen[size_t((a.rows[k] - 1) * n + a.columns[k] - 1)];
    if (twin || (which % 5 == 4 && a.columns[k] % 4 == 1)) continue;
    twin = 1;
    // Small integers make exact cancellation, and with it missing pivots, common.
    result.add(a.rows[k], a.columns[k], which % 4 == 1 ? std::round(2.0 * a.values[k]) : a.values[k]);
  }
  if (result.entries() == 0) result.add(1, 1, 1.0);
  return result;
}

TEST(ColumnFactor, RebuildsTheBlockForEveryJobAndSplit) {
  Random random(5);
  int deficient = 0;
  for (int trial = 0; trial < 600; ++trial) {
    const Coordinates a = kind(trial, random);
    SCOPED_TRACE(testing::Message() << "trial " << trial << ", " << a.m << " x " << a.n);
    Block b(a, number(random, 0, a.n), 4 * a.m * a.n + 2 * a.m + 2 * a.n + 10);
    std::shuffle(b.ip.begin(), b.ip.end(), random);
    if (trial % 2 == 0) {
      b.iq.resize(size_t(b.n));
      std::iota(b.iq.begin(), b.iq.end(), 1);
      std::shuffle(b.iq.begin(), b.iq.end(), random);
    }
    b.icntl[4] = trial % 7 - 1;
    const double tolerance = 1e-6;  // the multipliers reach 1/0.1 in each of up to 25 steps
    ASSERT_GE(b.factor(1), 0);
    EXPECT_LT(rebuild_error(b), tolerance);
    EXPECT_EQ(b.info[0], b.info[4] < std::min(b.m, b.n) ? 1 : 0);
    deficient += b.info[0];
    const int rank = b.info[4];
    const double operations = b.rinfo;
    const Vector fact = b.fact;

    ASSERT_GE(b.factor(2), 0);  // the same work on the same numbers
    EXPECT_EQ(b.info[4], rank);
    EXPECT_EQ(b.rinfo, operations);
    EXPECT_EQ(b.fact, fact);

    ASSERT_GE(b.factor(3), 0);
    EXPECT_LT(rebuild_error(b), tolerance);
    for (double& value : b.aa) value *= 1.0 + 0.01 * uniform(random);
    const int status = b.factor(2);
    EXPECT_TRUE(status >= 0 || status < -7) << status;
    // A column that was null stands for nothing any more.
    bool complete = true;
    for (int j = 0; j < b.np; ++j) complete &= b.iptrl[size_t(j)] > b.iptru[size_t(j)];
    if (status >= 0 && complete) {
      EXPECT_LT(rebuild_error(b), tolerance);
    }
  }
  EXPECT_GT(deficient, 50);
}

TEST(ColumnFactor, RankIsThatOfTheMatrix) {
  Random random(6);
  for (int trial = 0; trial < 100; ++trial) {
    const int m = number(random, 1, 20), n = number(random, 1, 20);
    const Coordinates a = low_rank_matrix(m, n, number(random, 1, std::min(m, n)), random);
    Block b(a, 0, 4 * m * n + 60);
    b.cntl[3] = 1e-9;
    ASSERT_GE(b.factor(1), 0);
    EXPECT_EQ(b.info[4], dense_rank(dense(a))) << m << " x " << n;
  }
}

TEST(ColumnFactor, LeadingColumnsStayWhenOnlyTheLastOnesChange) {
  Random random(7);
  for (int trial = 0; trial < 100; ++trial) {
    const Coordinates a = kind(3 * trial, random);
    if (a.n < 3) continue;
    Block b(a, number(random, 0, a.n), 8 * a.m * a.n + 100);
    ASSERT_GE(b.factor(1), 0);
    const int full = b.info[4];
    const int changed = number(random, 1, a.n - 1);
    b.icntl[5] = changed;
    const int kept = std::min(b.np, a.n - changed);
    for (int k = b.iptra[size_t(kept)]; k <= b.ne && kept < a.n; ++k) b.aa[size_t(k - 1)] *= 1.001;
    const int end = kept > 0 ? b.iptrl[size_t(kept - 1)] : 2;
    const auto leading = [&] {  // an L part may be put in another order
      Vector values(b.fact.begin(), b.fact.begin() + end);
      std::sort(values.begin(), values.end());
      return values;
    };
    const Vector before = leading();
    for (const int job : {3, 2}) {
      ASSERT_GE(b.factor(job), 0);
      EXPECT_LT(rebuild_error(b), 1e-6) << job;
      EXPECT_EQ(b.info[4], full) << job;
      EXPECT_EQ(leading(), before) << job;
    }
  }
}

TEST(ColumnFactor, EveryShortLengthReportsOneThatHelps) {
  Random random(8);
  for (int trial = 0; trial < 120; ++trial) {
    const Coordinates a = kind(trial, random);
    SCOPED_TRACE(testing::Message() << "trial " << trial << ", " << a.m << " x " << a.n);
    Block b(a, number(random, 0, a.n), 1);
    int attempts = 0;
    for (int length = 1; b.factor(1) == -3; ++attempts) {
      ASSERT_GT(b.info[3], length);
      ASSERT_LT(attempts, 50);
      length = b.info[3];
      b.resize(length);
    }
    EXPECT_LT(rebuild_error(b), 1e-6);
    const int enough = b.lfact,
              used = b.iptrl.back() + std::max(b.info[6] * (b.n - b.np), b.info[6] + b.n - b.np);
    EXPECT_LE(used, b.info[3]);
    for (int length = 0; length < enough; ++length) {
      b.resize(length);
      if (b.factor(1) == -3) {
        EXPECT_GT(b.info[3], length);
      } else {
        EXPECT_LT(rebuild_error(b), 1e-6) << length;
      }
    }
  }
}

TEST(ColumnFactor, DropsSmallEntriesAndThenRefusesToReuse) {
  Random random(9);
  const Coordinates a = banded_matrix(20, 3, 4, random);
  Block b(a, 15, 4000);
  b.cntl[2] = 0.05;
  ASSERT_EQ(b.factor(1), 0);
  EXPECT_GT(b.info[5], 0);
  EXPECT_EQ(b.irnf[0], b.info[5]);
  EXPECT_LT(rebuild_error(b), 2.0);
  EXPECT_EQ(b.factor(2), -6);
  EXPECT_EQ(b.factor(3), -6);
}

TEST(ColumnFactor, BadArgumentsAndValuesEndWithTheirStatus) {
  Random random(10);
  const Coordinates a = banded_matrix(6, 1, 1, random);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const auto status = [&](auto change, int job) {
    Block b(a, 4, 300);
    change(b);
    return b.factor(job);
  };
  EXPECT_EQ(status([](Block& b) { b.m = 0; }, 1), -1);
  EXPECT_EQ(status([](Block& b) { b.n = -1; }, 1), -1);
  EXPECT_EQ(status([](Block& b) { b.ne = 0; }, 1), -2);
  EXPECT_EQ(status([](Block& b) { b.np = 7; }, 1), -7);
  EXPECT_EQ(status([](Block& b) { b.np = -1; }, 1), -7);
  EXPECT_EQ(status([](Block& b) { b.lfact = b.ne + 1; }, 1), -3);
  EXPECT_EQ(status([](Block&) {}, 0), -5);
  EXPECT_EQ(status([](Block&) {}, 4), -5);
  EXPECT_EQ(status([](Block& b) { b.irna[1] = b.irna[0]; }, 1), -4);
  EXPECT_EQ(status([&](Block& b) { b.aa[0] = b.aa[1] = nan; }, 1), 1);  // a null column
  EXPECT_GE(status([&](Block& b) { std::fill(b.aa.begin(), b.aa.end(), nan); }, 1), 0);
  EXPECT_EQ(status([&](Block& b) { b.cntl = {nan, nan, nan, 0.0}; }, 1), 0);

  Block b(a, 4, 300);
  ASSERT_EQ(b.factor(1), 0);
  for (int k = b.iptra[2]; k < b.iptra[3]; ++k) b.aa[size_t(k - 1)] = 0.0;
  EXPECT_EQ(b.factor(2), -7 - 3);
}

}  // namespace
