// Solves with the factors of one block, which come from the column factorisation; all arrays have just the
// length that they need, so the address sanitizer sees what goes beyond.

#include <gtest/gtest.h>

#include "sparse/ma48/kernels.h"
#include "tests/support/sparse_matrices.h"

using namespace reference;

namespace {

/// The factors of a matrix whose first `np` columns are eliminated sparsely, in the order given.
struct Block {
  int m, n, np, length = 0;
  std::vector<int> irnf, iptrl, iptru;
  Vector fact;
  int info[7] = {};

  Block(const Coordinates& a, int sparse, int blockSize) : m(a.m), n(a.n), np(sparse) {
    const auto size = [](int count) { return static_cast<std::size_t>(count); };
    const int ne = a.entries(), job = 1, naturalOrder = 0;
    length = 4 * m * n + 4 * (m + n) + 10;
    std::vector<int> starts(size(n + 1), 1), ip(size(m)), iw(size(m + 2 * n));
    for (const int column : a.columns) ++starts[size(column)];
    for (int j = 1; j <= n; ++j) starts[size(j)] += starts[size(j - 1)] - 1;
    std::iota(ip.begin(), ip.end(), 1);
    irnf.resize(size(length));
    fact.resize(size(length));
    iptrl.resize(size(n));
    iptru.resize(size(n));
    Vector w(size(m));
    const double cntl[] = {0.5, 0.1, 0.0, 0.0};
    const int icntl[] = {0, 0, 0, 3, blockSize, 0, 0};
    double rinfo = 0.0;
    corvidnum::MA50BD(&m, &n, &ne, &job, a.values.data(), a.rows.data(), starts.data(), cntl, icntl,
                      ip.data(), &naturalOrder, &np, &length, fact.data(), irnf.data(), iptrl.data(),
                      iptru.data(), w.data(), iw.data(), info, &rinfo);
  }

  Vector solve(int trans, const Vector& b, int blockSize, const std::vector<int>& iq) const {
    const int icntl[] = {0, 0, 0, 0, blockSize, 0, 0};
    Vector x(static_cast<std::size_t>(trans == 0 ? n : m), 77.0);
    Vector w(static_cast<std::size_t>(std::max(m, n)), 66.0);
    int status[7] = {55};
    corvidnum::MA50CD(&m, &n, icntl, iq.data(), &np, &trans, &length, fact.data(), irnf.data(), iptrl.data(),
                      iptru.data(), b.data(), x.data(), w.data(), status);
    EXPECT_EQ(status[0], 55);  // written for an error only
    return x;
  }
};

struct Case {
  int m, n, rank;  // rank 0: random sparse, whatever rank it has
};

TEST(ColumnSolve, SolvesConsistentSystemsBothWays) {
  const Case cases[] = {{1, 1, 1},  {8, 8, 0},  {8, 8, 5},  {12, 6, 0}, {6, 12, 0},
                        {12, 6, 4}, {5, 15, 3}, {15, 5, 3}, {30, 30, 0}};
  Random random(11);
  for (const Case& c : cases) {
    for (int np = 0; np <= std::min(c.n, 12); ++np) {
      const int blockSize = np % 3 == 0 ? 32 : np % 3 - 1;
      const Coordinates a =
          c.rank ? low_rank_matrix(c.m, c.n, c.rank, random) : random_matrix(c.m, c.n, 0.4, random);
      // Low rank shows as rounding errors, which pass for pivots: only those of exact rank are judged.
      if (a.entries() == 0 || (c.rank != 0 && c.rank < std::min(c.m, c.n) && np > 0)) continue;
      const Block block(a, np, blockSize);
      ASSERT_GE(block.info[0], 0);
      SCOPED_TRACE(testing::Message() << c.m << " x " << c.n << " rank " << c.rank << " np " << np);
      for (const int trans : {0, 1}) {
        const int unknowns = trans == 0 ? c.n : c.m;
        const Vector b = multiply(a, random_vector(unknowns, random), trans != 0);
        EXPECT_LT(scaled_residual(a, block.solve(trans, b, blockSize, {0}), b, trans != 0), 1e-9);
      }
    }
  }
}

TEST(ColumnSolve, TakesTheColumnOrder) {
  Random random(3);
  const Coordinates a = random_matrix(6, 6, 0.9, random);
  const std::vector<int> iq = {3, 1, 6, 2, 5, 4};
  const Block block(a, 3, 32);
  for (const int trans : {0, 1}) {
    const Vector b = random_vector(6, random);
    // The columns of the factorised matrix are those numbered iq of the one that is solved with.
    const Vector plain = block.solve(trans, b, 32, {0});
    Vector shuffledB = b;
    for (std::size_t j = 0; j < 6 && trans != 0; ++j) shuffledB[static_cast<std::size_t>(iq[j] - 1)] = b[j];
    const Vector x = block.solve(trans, shuffledB, 32, iq);
    for (std::size_t j = 0; j < 6; ++j)
      EXPECT_EQ(trans == 0 ? x[static_cast<std::size_t>(iq[j] - 1)] : x[j], plain[j]);
  }
}

TEST(ColumnSolve, RefusesEmptyBlocks) {
  const int none = 0, one = 1, icntl[7] = {}, order = 0;
  int info[7] = {};
  corvidnum::MA50CD(&none, &one, icntl, &order, &none, &none, &one, nullptr, nullptr, nullptr, nullptr,
                    nullptr, nullptr, nullptr, info);
  EXPECT_EQ(info[0], -1);
}

}  // namespace
