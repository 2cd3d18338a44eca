#include "sparse/solver/norm_estimate.h"

#include <gtest/gtest.h>

#include "host/corvid_host.h"
#include "tests/support/dense_reference.h"

namespace {

using namespace reference;
using corvidnum::solver::estimate_norm1;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

void multiply(const Dense& a, double* x, bool transposed) {
  Vector y(static_cast<std::size_t>(a.rows));
  for (int i = 0; i < a.rows; ++i) {
    for (int j = 0; j < a.cols; ++j) y[transposed ? j : i] += a(i, j) * x[transposed ? i : j];
  }
  std::copy(y.begin(), y.end(), x);
}

/// Inverts by Gauss and Jordan with row interchanges.
Dense inverse(Dense a) {
  const int n = a.rows;
  Dense result(n, n);
  for (int i = 0; i < n; ++i) result(i, i) = 1.0;
  for (int k = 0; k < n; ++k) {
    int pivot = k;
    for (int i = k; i < n; ++i) pivot = std::fabs(a(i, k)) > std::fabs(a(pivot, k)) ? i : pivot;
    for (int j = 0; j < n; ++j) std::swap(a(k, j), a(pivot, j)), std::swap(result(k, j), result(pivot, j));
    for (int i = 0; i < n; ++i) {
      const double factor = i == k ? 1.0 - 1.0 / a(k, k) : a(i, k) / a(k, k);
      for (int j = 0; j < n; ++j) a(i, j) -= factor * a(k, j), result(i, j) -= factor * result(k, j);
    }
  }
  return result;
}

struct Estimate {
  double norm = -1.0;
  int products = 0;
};

/// Estimates the norm of `a`; the product of number `failing` cannot be computed.
Estimate estimate(const Dense& a, int failing = 0) {
  Estimate result;
  const auto product = [&](bool transposed) {
    return [&, transposed](double* x) {
      multiply(a, x, transposed);
      return ++result.products != failing;
    };
  };
  EXPECT_TRUE(estimate_norm1(a.rows, product(false), product(true), result.norm));
  return result;
}

TEST(NormEstimate, IsALowerBoundNearTheNormOfInverses) {
  Random random(14);
  int far = 0, most_products = 0;
  for (int trial = 0; trial < 1000; ++trial) {
    const int n = 1 + trial % 40;
    const Dense a =
        inverse(trial % 2 ? random_dense(n, n, random) : of_condition(n, std::pow(10.0, trial % 9), random));
    const double norm = norm1(a);
    const Estimate e = estimate(a);
    EXPECT_LE(e.norm, norm * (1.0 + 1e-12));
    far += e.norm < norm / 3.0;
    most_products = std::max(most_products, e.products);
  }
  EXPECT_LE(far, 2);
  EXPECT_LE(most_products, 11);
  EXPECT_GT(most_products, 4);
  EXPECT_EQ(estimate(Dense(0, 0)).norm, 0.0);
  EXPECT_EQ(estimate(Dense(3, 3)).norm, 0.0);
}

TEST(NormEstimate, IsInfiniteAfterAProductThatFails) {
  Random random(15);
  const Dense a = random_dense(8, 8, random);
  const int products = estimate(a).products;
  for (int failing = 1; failing <= products; ++failing) {
    const Estimate e = estimate(a, failing);
    EXPECT_EQ(e.norm, kInfinity);
    EXPECT_EQ(e.products, failing) << "goes on";
  }
  for (const double odd : {std::nan(""), kInfinity, -kInfinity}) {
    Dense b = a;
    b(7, 0) = odd;
    EXPECT_EQ(estimate(b).norm, kInfinity);
    EXPECT_EQ(estimate(b).products, 1);
  }
  Dense huge(2, 2);
  huge(0, 0) = huge(1, 0) = 1.7e308;
  EXPECT_EQ(estimate(huge).norm, kInfinity) << "the sum of the column";
}

TEST(NormEstimate, SurvivesEachRefusalOfMemory) {
  const auto keep = [](double*) { return true; };
  const std::int64_t before = corvid_host::LiveBlocks();
  for (int n = 1; n <= 4; ++n) {
    double norm = -1.0;
    corvid_host::FailAllocation(n);
    EXPECT_EQ(estimate_norm1(5, keep, keep, norm), n == 4);
    corvid_host::StopFailing();
    EXPECT_EQ(norm, n == 4 ? 1.0 : -1.0);
    EXPECT_EQ(corvid_host::LiveBlocks(), before);
  }
}

}  // namespace
