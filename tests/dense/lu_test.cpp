#include "dense/lu.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "frame/idamax.h"
#include "tests/support/dense_reference.h"

namespace {

using namespace reference;

/// A matrix inside an array with two rows of padding, which no routine may touch.
struct LuCall {
  static constexpr double kPadding = 4711.0;
  Dense storage;
  int m, n, lda;
  std::vector<int> pivots;
  int info = 99;

  explicit LuCall(const Dense& a)
      : storage(a.rows + 2, a.cols),
        m(a.rows),
        n(a.cols),
        lda(a.rows + 2),
        pivots(static_cast<std::size_t>(std::min(m, n)), 0) {
    std::fill(storage.values.begin(), storage.values.end(), kPadding);
    for (int j = 0; j < n; ++j) std::copy_n(const_cast<Dense&>(a).column(j), m, storage.column(j));
    EXPECT_EQ(corvidnum::dgetrf_tol(&m, &n, storage.values.data(), &lda, pivots.data(), &info), 0);
  }

  Dense factors() {
    Dense result(m, n);
    for (int j = 0; j < n; ++j) std::copy_n(storage.column(j), m, result.column(j));
    return result;
  }
  bool padding_is_whole() const {
    for (int j = 0; j < n; ++j) {
      if (storage(m, j) != kPadding || storage(m + 1, j) != kPadding) return false;
    }
    return true;
  }
};

bool same_bits(double a, double b) {
  return std::isnan(a) ? std::isnan(b) : a == b && std::signbit(a) == std::signbit(b);
}

void expect_textbook_result(const Dense& a) {
  LuCall call(a);
  Dense expected = a;
  std::vector<int> pivots(call.pivots.size());
  EXPECT_EQ(call.info, textbook_lu(expected, pivots, 1e-8));
  EXPECT_EQ(call.pivots, pivots);
  EXPECT_TRUE(call.padding_is_whole());
  const Dense factors = call.factors();
  EXPECT_TRUE(std::equal(factors.values.begin(), factors.values.end(), expected.values.begin(), same_bits));
}

TEST(DenseLu, FactorsAreTheMatrixUpToRounding) {
  Random random(1);
  for (const MatrixKind& kind : kKinds) {
    for (const int n : kSizes) {
      SCOPED_TRACE(std::string(kind.name) + ", n = " + std::to_string(n));
      const Dense a = kind.make(n, random);
      LuCall call(a);
      EXPECT_EQ(call.info, n > 0 ? kind.first_failure(n) : 0);
      if (n > 0 && norm1(a) < 1e-100) continue;  // no column was scaled, so L U is another matrix
      EXPECT_LT(factor_ratio(a, call.factors(), call.pivots), kRatioLimit);
    }
  }
}

TEST(DenseLu, EqualsTheTextbookToTheLastBit) {
  Random random(2);
  for (const int m : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 50}) {
    for (const int n : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 50}) {
      SCOPED_TRACE(std::to_string(m) + " x " + std::to_string(n));
      const Dense a = random_dense(m, n, random);
      expect_textbook_result(a);
      if (m == 0 || n == 0) continue;
      EXPECT_LT(factor_ratio(a, LuCall(a).factors(), LuCall(a).pivots), kRatioLimit);

      // Columns that fail, and values that are no numbers, at random places.
      for (int trial = 0; trial < 5; ++trial) {
        Dense b = a;
        const int failing = number(random, 0, n - 1);
        for (int i = 0; i < m; ++i) b(i, failing) *= 1e-9;
        const double poisons[] = {std::nan(""), std::numeric_limits<double>::infinity(), 0.0};
        for (const double poison : poisons) {
          if (trial > 0) b(number(random, 0, m - 1), number(random, 0, n - 1)) = poison;
          expect_textbook_result(b);
        }
      }
    }
  }
}

TEST(DenseLu, ReportsIllegalArguments) {
  const struct {
    int m, n, lda, info;
    const char* line;
  } kCalls[] = {
      {-1, -1, 0, -1, "** On entry to DGETF2, parameter number  1 had an illegal value\n"},
      {2, -1, 0, -2, "** On entry to DGETF2, parameter number  2 had an illegal value\n"},
      {2, 2, 1, -4, "** On entry to DGETF2, parameter number  4 had an illegal value\n"},
      {0, 0, 0, -4, "** On entry to DGETF2, parameter number  4 had an illegal value\n"},
      {0, 5, 1, 0, ""},
  };
  for (const auto& call : kCalls) {
    int info = 99;
    testing::internal::CaptureStdout();
    corvidnum::dgetrf_tol(&call.m, &call.n, nullptr, &call.lda, nullptr, &info);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), call.line);
    EXPECT_EQ(info, call.info);
  }
}

TEST(Idamax, TakesTheFirstOfEqualsAndNoNaN) {
  const double nan = std::nan(""), inf = std::numeric_limits<double>::infinity();
  const struct {
    Vector x;
    int place;
  } kCases[] = {
      {{}, 0},         {{0.0}, 1},           {{1.0, -3.0, 3.0}, 2}, {{nan, 0.0, 0.0}, 2},
      {{nan, nan}, 1}, {{2.0, nan, 3.0}, 3}, {{1.0, -inf, inf}, 2},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(corvidnum::idamax(static_cast<int>(c.x.size()), c.x.data()), c.place);
}

}  // namespace
