#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "sparse/ma48/kernels.h"
#include "tests/sparse/ma48/factor_check.h"
#include "tests/support/sparse_matrices.h"

namespace {

using namespace reference;

/// level 1, 2, or 3 with a block size.
int factor(int level, int width, int m, int n, std::vector<double>& f, int lda, double tolerance,
           std::vector<int>& ipiv) {
  int rank = -1;
  if (level == 1) corvidnum::ma50_full_factor1(&m, &n, f.data(), &lda, &tolerance, ipiv.data(), &rank);
  if (level == 2) corvidnum::ma50_full_factor2(&m, &n, f.data(), &lda, &tolerance, ipiv.data(), &rank);
  if (level == 3)
    corvidnum::ma50_full_factor3(&m, &n, f.data(), &lda, &width, &tolerance, ipiv.data(), &rank);
  return rank;
}

struct Variant {
  int level, width;
};
constexpr Variant kVariants[] = {{1, 0}, {2, 0}, {3, 1}, {3, 2}, {3, 3}, {3, 8}, {3, 32}, {3, 2147483647}};

TEST(FullFactor, RebuildsItsColumnsAndFindsTheRank) {
  Random random(17);
  const int shapes[][2] = {{1, 1}, {1, 6}, {6, 1}, {9, 9}, {7, 12}, {12, 7}, {40, 40}, {70, 65}};
  for (const auto& shape : shapes) {
    const int m = shape[0], n = shape[1], full = std::min(m, n);
    for (const int rank : {full, full / 2, 0}) {
      Dense a = dense(low_rank_matrix(m, n, rank, random));
      // Null columns are refused in the midst of panels.
      for (int j = 1; j < n && rank < full; j += 3) {
        for (int i = 0; i < m; ++i) a(i, j) = 0.0;
      }
      const int expected = dense_rank(a);
      for (const Variant& variant : kVariants) {
        SCOPED_TRACE(testing::Message() << m << " x " << n << " rank " << expected << " level "
                                        << variant.level << " width " << variant.width);
        const int lda = m + 2;
        std::vector<double> f(static_cast<std::size_t>(lda * n), 7.0);
        for (int j = 0; j < n; ++j) {
          for (int i = 0; i < m; ++i) f[static_cast<std::size_t>(j * lda + i)] = a(i, j);
        }
        std::vector<int> ipiv(static_cast<std::size_t>(n));
        EXPECT_EQ(factor(variant.level, variant.width, m, n, f, lda, 1e-9, ipiv), expected);
        EXPECT_LT(full_factor_error(a, f.data(), lda, ipiv, expected), 1e-12 * (m + n));
        for (int j = 0; j < n; ++j) EXPECT_EQ(f[static_cast<std::size_t>(j * lda + m)], 7.0);  // padding
      }
    }
  }
}

TEST(FullFactor, ToleranceIsStrictAndNotANumberIsNoPivot) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    double value, tolerance;
    int rank;
  } cases[] = {{0.5, 0.5, 0}, {0.5, 0.499, 1}, {0.0, -1.0, 0}, {nan, 0.0, 0}, {1.0, nan, 0}};
  for (const auto& c : cases) {
    for (const Variant& variant : kVariants) {
      std::vector<double> f{c.value};
      std::vector<int> ipiv(1);
      EXPECT_EQ(factor(variant.level, variant.width, 1, 1, f, 1, c.tolerance, ipiv), c.rank) << c.value;
    }
  }
}

}  // namespace
