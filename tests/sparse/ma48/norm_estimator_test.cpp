#include <gtest/gtest.h>

#include "sparse/ma48/kernels.h"
#include "tests/support/sparse_matrices.h"

using namespace reference;

namespace {

/// Estimates the norm of `a`, destroying W between the calls, as a caller may. Counts the requests.
double estimate(const Coordinates& a, int& requests) {
  const auto size = static_cast<std::size_t>(a.n);
  Vector x(size), w(size);
  std::vector<int> signs(size);
  double norm = -1.0;
  int kase = 0;
  requests = 0;
  for (corvidnum::MC41AD(&a.n, &kase, x.data(), &norm, w.data(), signs.data()); kase != 0;
       corvidnum::MC41AD(&a.n, &kase, x.data(), &norm, w.data(), signs.data())) {
    if (++requests > 40) break;
    x = multiply(a, x, kase == 2);
    std::fill(w.begin(), w.end(), 1e100);
  }
  return norm;
}

TEST(NormEstimator, NeverExceedsTheNormAndSeldomMissesItByFar) {
  Random random(5);
  double worst = 1.0;
  for (int trial = 0; trial < 300; ++trial) {
    const int n = 1 + trial % 30;
    const Coordinates a = random_matrix(n, n, 0.5, random);
    int requests = 0;
    const double norm = norm1(dense(a)), estimated = estimate(a, requests);
    EXPECT_LE(estimated, norm * (1.0 + 1e-12));
    EXPECT_LE(requests, 11);
    if (norm > 0.0) worst = std::min(worst, estimated / norm);
  }
  EXPECT_GT(worst, 0.3);
}

TEST(NormEstimator, IsExactForOneNumberAndForOneHeavyColumn) {
  Coordinates a{1, 1, {1}, {1}, {-7.0}};
  int requests = 0;
  EXPECT_EQ(estimate(a, requests), 7.0);
  EXPECT_EQ(requests, 1);
  a = {4, 4, {1, 2, 3, 4, 1}, {1, 2, 3, 4, 3}, {1.0, -2.0, 30.0, 1.0, -4.0}};
  EXPECT_EQ(estimate(a, requests), 34.0);
}

TEST(NormEstimator, EndsOnNaNAndRefusesNothingness) {
  const double nan = std::nan("");
  const Coordinates a{2, 2, {1, 2, 1, 2}, {1, 1, 2, 2}, {nan, nan, nan, nan}};
  int requests = 0;
  estimate(a, requests);
  EXPECT_LE(requests, 11);
  int kase = 0;
  const int none = 0;
  corvidnum::MC41AD(&none, &kase, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(kase, -1);
}

}  // namespace
