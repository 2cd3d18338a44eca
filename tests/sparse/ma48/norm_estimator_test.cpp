#include <gtest/gtest.h>

#include <limits>

#include "frame/platform.h"
#include "sparse/ma48/kernels.h"
#include "tests/support/sparse_matrices.h"

using namespace reference;

namespace {

/// Estimates the norm of `a`, destroying W between the calls, as a caller may.
double estimate(const Coordinates& a, int most_requests = 11) {
  Vector x(a.n), w(a.n);
  std::vector<int> signs(a.n);
  double norm = -1.0;
  int kase = 0, requests = 0;
  for (corvidnum::MC41AD(&a.n, &kase, x.data(), &norm, w.data(), signs.data()); kase != 0 && requests < 12;
       corvidnum::MC41AD(&a.n, &kase, x.data(), &norm, w.data(), signs.data())) {
    ++requests;
    x = multiply(a, x, kase == 2);
    std::fill(w.begin(), w.end(), 1e100);
  }
  EXPECT_LE(requests, most_requests);
  return norm;
}

TEST(NormEstimator, NeverExceedsTheNormAndSeldomMissesItByFar) {
  Random random(5);
  double worst = 1.0;
  for (int trial = 0; trial < 300; ++trial) {
    const Coordinates a = random_matrix(1 + trial % 30, 1 + trial % 30, 0.5, random);
    const double norm = norm1(dense(a)), estimated = estimate(a);
    EXPECT_LE(estimated, norm * (1.0 + 1e-12));
    if (norm > 0.0) worst = std::min(worst, estimated / norm);
  }
  EXPECT_GT(worst, 0.3);
  EXPECT_EQ(estimate({4, 4, {1, 2, 3, 4, 1}, {1, 2, 3, 4, 3}, {1.0, -2.0, 30.0, 1.0, -4.0}}), 34.0);
  EXPECT_EQ(estimate({2, 2, {1, 2, 1, 2}, {1, 1, 2, 2}, {1.0, 1.0, 2.0, 2.0}}, 4), 4.0);  // the signs stay
}

TEST(NormEstimator, EndsOnNaNAndRefusesNothingness) {
  estimate({2, 2, {1, 2, 1, 2}, {1, 1, 2, 2}, Vector(4, std::nan(""))});
  int kase = 0;
  const int none = 0;
  corvidnum::MC41AD(&none, &kase, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(kase, -1);
}

// As in a thread for which the system has no slot.
TEST(NormEstimator, KnowsNothingOfANormWhenTheWordOfTheThreadIsLost) {
  const int n = 2;
  Vector x(n), w(n);
  std::vector<int> signs(n);
  double norm = 0;
  int kase = 0;
  corvidnum::MC41AD(&n, &kase, x.data(), &norm, w.data(), signs.data());
  EXPECT_EQ(kase, 1);
  corvidnum::set_thread_word(0);
  corvidnum::MC41AD(&n, &kase, x.data(), &norm, w.data(), signs.data());
  EXPECT_EQ(kase, 0);
  EXPECT_EQ(norm, std::numeric_limits<double>::infinity());
}

}  // namespace
