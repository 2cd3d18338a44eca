#include "tables/line_fit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
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
    // Of a shift by 2^20, sums of squares about the mean feel no more than the rounding of the mean.
    for (const auto& [scale, shift] : {std::pair{1.0, 0.0}, {1e8, 0.0}, {1e-8, 0.0}, {1.0, 0x1p20}}) {
      SCOPED_TRACE(testing::Message() << row.what << ", x * " << scale << " + " << shift);
      const double tolerance = shift == 0.0 ? 1e-15 : 1e-8;
      Vector x = row.x;
      for (double& value : x) value = value * scale + shift;
      const Fit fit(x, row.y, row.sigma);
      EXPECT_EQ(fit.result, 1);
      EXPECT_NEAR(fit.b * scale, row.b, tolerance);
      EXPECT_NEAR(fit.sigmaB * scale, row.sigmaB, tolerance);
      EXPECT_NEAR(fit.chiSquare, row.chiSquare, std::max(tolerance, 1e-14));
      if (shift != 0.0) continue;  // the intercept is another one
      EXPECT_NEAR(fit.a, row.a, tolerance);
      EXPECT_NEAR(fit.sigmaA, row.sigmaA, tolerance);
    }
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
