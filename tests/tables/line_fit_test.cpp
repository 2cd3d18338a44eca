#include "tables/line_fit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using Vector = std::vector<double>;

struct Fit {
  double a = 7, b = 7, sigmaA = 7, sigmaB = 7, chiSquare = 7;
  int result;

  Fit(Vector x, Vector y, Vector sigma = {})
      : result(LineFit(x.data(), y.data(), static_cast<unsigned>(x.size()),
                       sigma.empty() ? nullptr : sigma.data(), &a, &b, &sigmaA, &sigmaB, &chiSquare)) {}
};

void expect_twelve_digits(double value, double expected) {
  EXPECT_NEAR(value, expected, 0.5e-11 * std::fabs(expected));
}

const Vector kNorrisX = {0.2, 337.4, 118.2, 884.6, 10.1,  226.5, 666.3, 996.3, 448.6, 777.0, 558.2, 0.4,
                         0.6, 775.5, 666.9, 338.0, 447.5, 11.6,  556.0, 228.1, 995.8, 887.6, 120.2, 0.3,
                         0.3, 556.8, 339.1, 887.2, 999.0, 779.0, 11.1,  118.3, 229.2, 669.1, 448.9, 0.5};
const Vector kNorrisY = {0.1, 338.8, 118.1, 888.0, 9.2,   228.1, 668.5, 998.5, 449.1, 778.9, 559.2, 0.3,
                         0.1, 778.1, 668.8, 339.3, 448.9, 10.8,  557.7, 228.3, 998.0, 888.8, 119.6, 0.3,
                         0.6, 557.6, 339.3, 888.0, 998.5, 778.9, 10.2,  117.6, 228.9, 668.4, 449.2, 0.2};

Vector times(Vector x, double factor) {
  for (double& value : x) value *= factor;
  return x;
}

TEST(LineFit, CertifiedDataAtEveryScale) {
  for (const double scale : {1.0, 1e8, 1e-8}) {
    SCOPED_TRACE(scale);
    // Known deviations: a common factor of theirs goes into the results, the scatter does not.
    const double sigma = 0.25, scatter = std::sqrt(26.6173985294224 / 34) / sigma;
    const Vector x = times(kNorrisX, scale);
    for (const bool known : {false, true}) {
      const Fit fit(x, kNorrisY, known ? Vector(x.size(), sigma) : Vector());
      EXPECT_EQ(fit.result, 1);
      expect_twelve_digits(fit.a, -0.262323073774029);
      expect_twelve_digits(fit.b * scale, 1.00211681802045);
      expect_twelve_digits(fit.sigmaA * (known ? scatter : 1), 0.232818234301152);
      expect_twelve_digits(fit.sigmaB * scale * (known ? scatter : 1), 0.000429796848199937);
      expect_twelve_digits(fit.chiSquare * (known ? sigma * sigma : 1), 26.6173985294224);
    }
  }
}

TEST(LineFit, ClosedForms) {
  const struct {
    const char* what;
    Vector x, y, sigma;
    double a, b, sigmaA, sigmaB, chiSquare;
  } kRows[] = {
      {"two points", {0, 2}, {1, 5}, {}, 1, 2, 1, std::sqrt(0.5), 0},
      {"collinear", {0, 1, 2, 3, 4}, {5, 3, 1, -1, -3}, {}, 5, -2, 0, 0, 0},
      {"three", {0, 1, 2}, {0, 3, 0}, {}, 1, 0, std::sqrt(5.0), std::sqrt(3.0), 6},
      // Weights 1, 1/4, 1/4: S 3/2, mean 1/3, T 5/6, slope (-1/3 0 + 1/6 6 + 1/6 0) / T
      {"unequal", {0, 1, 1}, {0, 6, 0}, {1, 2, 2}, 0, 3, 1, std::sqrt(3.0), 4.5},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const Fit fit(row.x, row.y, row.sigma);
    EXPECT_EQ(fit.result, 1);
    EXPECT_NEAR(fit.a, row.a, 1e-15);
    EXPECT_NEAR(fit.b, row.b, 1e-15);
    EXPECT_NEAR(fit.sigmaA, row.sigmaA, 1e-15);
    EXPECT_NEAR(fit.sigmaB, row.sigmaB, 1e-15);
    EXPECT_NEAR(fit.chiSquare, row.chiSquare, 1e-14);
  }
  const Fit vertical({3, 3, 3}, {1, 2, 3});
  EXPECT_EQ(vertical.result, 1);
  EXPECT_FALSE(std::isfinite(vertical.a) || std::isfinite(vertical.b) || std::isfinite(vertical.sigmaB));
}

TEST(LineFit, WritesNothingWithoutALine) {
  for (const Fit& fit : {Fit({}, {}), Fit({1}, {2}), Fit({1}, {2}, {3})}) {
    EXPECT_EQ(fit.result, 0);
    for (const double value : {fit.a, fit.b, fit.sigmaA, fit.sigmaB, fit.chiSquare}) EXPECT_EQ(value, 7);
  }
  double x[] = {0, 1}, out[5];
  EXPECT_EQ(LineFit(x, nullptr, 2, nullptr, out, out + 1, out + 2, out + 3, out + 4), 0);
  EXPECT_EQ(LineFit(x, x, 2, nullptr, out, out + 1, out + 2, out + 3, nullptr), 0);
}

}  // namespace
