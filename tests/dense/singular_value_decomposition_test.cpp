#include "dense/singular_value_decomposition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "frame/empty_value.h"
#include "host/corvid_host.h"
#include "tests/support/dense_reference.h"

namespace {

using namespace reference;
using Svd = SingularValueDecomposition;

/// The matrix as an array of row pointers.
struct Rows {
  std::vector<Vector> values;
  std::vector<double*> pointers;

  explicit Rows(const Dense& a) : values(static_cast<std::size_t>(a.rows)) {
    for (int i = 0; i < a.rows; ++i) {
      Vector& row = values[static_cast<std::size_t>(i)];
      for (int j = 0; j < a.cols; ++j) row.push_back(a(i, j));
      pointers.push_back(row.data());
    }
  }
  double** data() { return pointers.data(); }
};

template <class Term>
double sum(int count, Term&& term) {
  double total = 0.0;
  for (int i = 0; i < count; ++i) total += term(i);
  return total;
}

/// element(i, j) for all elements.
template <class Element>
Dense filled(int m, int n, Element&& element) {
  Dense a(m, n);
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < m; ++i) a(i, j) = element(i, j);
  }
  return a;
}

Dense diagonal(const Vector& values) {
  const int n = static_cast<int>(values.size());
  return filled(n, n, [&](int i, int j) { return i == j ? values[static_cast<std::size_t>(i)] : 0.0; });
}

/// From the size of 1 in the first column to that of `last` in the last.
Dense graded(int m, int n, Random& random, double last) {
  const Dense a = random_dense(m, n, random);
  return filled(m, n, [&](int i, int j) { return a(i, j) * std::pow(last, j / std::max(1.0, n - 1.0)); });
}

double hilbert(int i, int j) { return 1.0 / (1 + i + j); }
double three_times_identity(int i, int j) { return i == j ? 3.0 : 0.0; }
/// Of rank 1; its rounding errors are of low rank again, down to the smallest numbers.
double pattern(int i, int j) { return (i % 5 + 1) * (j % 3 - 1); }

// clang-format off
const struct {
  const char* name;
  Dense (*make)(int m, int n, Random& random);
} kMatrices[] = {
    {"random", random_dense},
    {"tiny", [](int m, int n, Random& r) { return scaled(random_dense(m, n, r), 1e-120); }},
    {"huge", [](int m, int n, Random& r) { return scaled(random_dense(m, n, r), 1e120); }},
    {"digits", [](int m, int n, Random& r) { return filled(m, n, [&](int, int) { return number(r, -2, 2); }); }},
    {"falling columns", [](int m, int n, Random& r) { return graded(m, n, r, 1e-15); }},
    {"rising columns", [](int m, int n, Random& r) { return graded(m, n, r, 1e15); }},
    {"falling both ways", [](int m, int n, Random&) { return filled(m, n, hilbert); }},
    {"equal values", [](int m, int n, Random&) { return filled(m, n, three_times_identity); }},
    {"half the rank", [](int m, int n, Random& r) { return of_rank((n + 1) / 2, m, n, r); }},
    {"rank 1", [](int m, int n, Random&) { return filled(m, n, pattern); }},
    {"zero columns", [](int m, int n, Random& r) { return with_zero_columns(random_dense(m, n, r), n / 3, n / 2); }},
    {"zero", [](int m, int n, Random&) { return Dense(m, n); }},
};
// clang-format on

const int kShapes[][2] = {{1, 1}, {2, 1}, {2, 2}, {7, 2}, {6, 5}, {40, 40}, {100, 30}, {131, 70}, {300, 100}};

/// The largest of |error(i, j)|; a NaN counts as infinite.
template <class Error>
double worst(int m, int n, Error&& error) {
  double largest = 0.0;
  for (const double value : filled(m, n, error).values) {
    largest = std::max(largest, std::isnan(value) ? HUGE_VAL : std::fabs(value));
  }
  return largest;
}

/// Of the columns of an m x n matrix.
double far_from_orthonormal(const double* const* q, int m, int n) {
  return worst(n, n, [=](int j, int k) {
    return sum(m, [=](int i) { return q[i][j] * q[i][k]; }) - (j == k ? 1.0 : 0.0);
  });
}

/// Orthonormal factors make the values those of the matrix.
TEST(SingularValueDecomposition, FactorsAreOrthonormalAndGiveTheMatrix) {
  Random random(1);
  for (const auto& kind : kMatrices) {
    for (const auto& [m, n] : kShapes) {
      SCOPED_TRACE(std::string(kind.name) + ", " + std::to_string(m) + " x " + std::to_string(n));
      const Dense a = kind.make(m, n, random);
      Rows rows(a);
      Svd svd(2, n + 3);  // the rows of the argument do not count, and a part of the columns may be used
      ASSERT_EQ(svd.Decomposition(m, n, rows.data()), 1);
      const double *const *const u = rows.data(), *const *const v = svd.VMat(), *const s = svd.SVals();
      EXPECT_LE(far_from_orthonormal(u, m, n), 1e-13);
      EXPECT_LE(far_from_orthonormal(v, n, n), 1e-13);
      EXPECT_GE(*std::min_element(s, s + n), 0.0);
      const int cols = n;
      const auto error = [&](int i, int j) {
        return a(i, j) - sum(cols, [&](int k) { return u[i][k] * s[k] * v[j][k]; });
      };
      EXPECT_LE(worst(m, n, error), 1e-13 * *std::max_element(s, s + n));
    }
  }
}

TEST(SingularValueDecomposition, RefusesWhatItCannotFactorise) {
  Random random(2);
  const Dense a = random_dense(9, 4, random);
  for (const double poison : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    for (std::size_t at = 0; at < a.values.size(); ++at) {
      Dense poisoned = a;
      poisoned.values[at] = poison;
      EXPECT_EQ(Svd(9, 4).Decomposition(9, 4, Rows(poisoned).data()), 0) << at;
    }
    EXPECT_EQ(Svd(1, 1).Decomposition(1, 1, Rows(diagonal({poison})).data()), 0);
  }
  Dense huge = diagonal({7e307, 7e307, 7e307});
  huge(0, 1) = huge(0, 2) = huge(1, 2) = 7e307;  // sums of its elements overflow
  EXPECT_EQ(Svd(3, 3).Decomposition(3, 3, Rows(huge).data()), 0);
  // Squares of its elements underflow in the shift. Shortly before the sweeps achieve nothing they are many:
  // a value that takes 49 is found, one that takes 50 is not.
  EXPECT_EQ(Svd(9, 4).Decomposition(9, 4, Rows(scaled(a, 1.989e-162)).data()), 1);
  EXPECT_EQ(Svd(9, 4).Decomposition(9, 4, Rows(scaled(a, 1.990e-162)).data()), 0);
  EXPECT_EQ(Svd(9, 4).Decomposition(9, 4, Rows(scaled(a, 1e-170)).data()), 0);
  const struct {
    const char* what;
    int m, n, rows, cols;
  } kCalls[] = {{"wide", 3, 4, 9, 4},
                {"more columns than room", 9, 4, 9, 3},
                {"no room", 9, 4, 9, -3},
                {"more rows than room", 9, 4, 8, 4}};
  for (const auto& call : kCalls) {
    SCOPED_TRACE(call.what);
    Rows rows(a);
    const auto before = rows.values;
    Svd svd(call.rows, call.cols);
    Vector x(4), b(9);
    EXPECT_EQ(svd.LinearLeastSquare(call.m, call.n, x.data(), b.data(), rows.data(), nullptr), EmptyValue);
    EXPECT_EQ(x, Vector(4, EmptyValue));
    if (call.rows == 8) continue;  // nothing to the decomposition of the caller's matrix
    EXPECT_EQ(svd.Decomposition(call.m, call.n, rows.data()), 0);
    if (call.cols < call.n) {
      svd.EditSingularValue(4);
      svd.BackSubstitute(9, 4, b.data(), x.data(), rows.data());
      svd.CovarianceMatrix(4, rows.data());
      EXPECT_EQ(svd.Rank(4), 0);
      EXPECT_EQ(svd.ConditionNum(4), 0.0);
      EXPECT_EQ(x, Vector(4, EmptyValue));
    }
    EXPECT_EQ(rows.values, before);
  }
  Vector b = {3, 4};
  double x = 5;
  for (const int n : {0, -4}) {  // nothing to do
    Svd svd(3, 2);
    EXPECT_EQ(svd.Decomposition(2, n, Rows(a).data()), 1);
    EXPECT_EQ(svd.LinearLeastSquare(2, n, &x, b.data(), Rows(a).data(), nullptr), 25);
    EXPECT_EQ(svd.Rank(n), 0);
    EXPECT_TRUE(std::isnan(svd.ConditionNum(n)));
    EXPECT_EQ(x, 5);
  }
}

TEST(SingularValueDecomposition, RankEditAndCondition) {
  const struct {
    Vector values, edited;
    int rank;
    double condition;
  } kRows[] = {
      {{4, 2}, {4, 2}, 2, 0.5},
      {{2, 4, 1}, {2, 4, 1}, 3, 0.25},
      {{1e6, 1e-9}, {1e6, 0}, 1, 1e-15},
      {{1e6, 1e-8}, {1e6, 1e-8}, 2, 1e-14},  // at the limit, not below it
      {{1e-10, 1e-4}, {0, 1e-4}, 1, 1e-6},
      {{1e-4, 2e-9}, {1e-4, 2e-9}, 2, 2e-5},
      {{3, 0}, {3, 0}, 1, 0},
      {{0, 0}, {0, 0}, 2, std::nan("")},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.values[0]);
    const int n = static_cast<int>(row.values.size());
    Svd svd(n, n);
    const auto values = [&] { return Vector(svd.SVals(), svd.SVals() + n); };
    ASSERT_EQ(svd.Decomposition(n, n, Rows(diagonal(row.values)).data()), 1);
    EXPECT_EQ(svd.Rank(n), row.rank);
    const double condition = svd.ConditionNum(n);
    EXPECT_TRUE(std::isnan(row.condition) ? std::isnan(condition)
                                          : std::fabs(condition - row.condition) <= 1e-15 * row.condition);
    EXPECT_EQ(values(), row.values);
    svd.EditSingularValue(n);
    EXPECT_EQ(values(), row.edited);
  }
}

TEST(SingularValueDecomposition, CovarianceIsTheInverseOfTheNormalMatrix) {
  Random random(3);
  const int m = 12, n = 5;
  for (const bool deficient : {false, true}) {
    Dense a = random_dense(m, n, random);
    if (deficient) a = with_zero_columns(a, 2, 2);
    Rows covariance(Dense(n, n));
    Svd svd(m, n);
    ASSERT_EQ(svd.Decomposition(m, n, Rows(a).data()), 1);
    svd.EditSingularValue(n);
    svd.CovarianceMatrix(n, covariance.data());
    EXPECT_LE(worst(n, n,
                    [&](int i, int j) {  // what was dropped adds nothing
                      const double expected = i == j && !(deficient && i == 2) ? 1.0 : 0.0;
                      return expected - sum(n, [&](int k) {
                               return covariance.data()[k][j] *
                                      sum(m, [&](int r) { return a(r, i) * a(r, k); });
                             });
                    }),
              1e-12);
  }
}

/// A fit as the caller sees it.
struct Fit {
  Dense a;
  Vector b;
  Vector sigma = Vector(b.size(), 1.0);
  bool weighted = false;  // sigma is handed over
  Vector x{};
  double chi2 = 0.0;

  void run() {
    Rows rows(a);
    const auto before = rows.values;
    x.assign(static_cast<std::size_t>(a.cols), 5.0);
    Svd svd(a.rows, a.cols);
    chi2 = svd.LinearLeastSquare(a.rows, a.cols, x.data(), b.data(), rows.data(),
                                 weighted ? sigma.data() : nullptr);
    EXPECT_EQ(rows.values, before);
  }
  double deviation(int i) const { return sigma[static_cast<std::size_t>(i)]; }
  double column_scale(int j) const {
    return sum(a.rows, [&](int i) { return std::fabs(a(i, j)); }) / a.rows;
  }
};

Dense powers(int m, int n, double from, double to) {
  return filled(m, n, [=](int i, int j) { return std::pow(from + (to - from) * i / (m - 1), j); });
}

/// The residual is orthogonal to the columns; of equal columns each gets its half.
TEST(LinearLeastSquare, IsStationary) {
  const struct {
    const char* name;
    Dense (*make)(Random& random);
  } kFits[] = {
      // clang-format off
      {"random", [](Random& r) { return random_dense(40, 6, r); }},
      {"large", [](Random& r) { return random_dense(300, 100, r); }},
      {"square", [](Random& r) { return of_condition(12, 1e2, r); }},
      {"one column", [](Random& r) { return random_dense(9, 1, r); }},
      {"columns of many sizes", [](Random& r) { return graded(30, 8, r, 1e-20); }},
      {"quadratic", [](Random&) { return powers(25, 3, -1, 1); }},
      {"quintic away from zero", [](Random&) { return powers(40, 6, 1, 2); }},
      {"condition 1e5", [](Random& r) { return of_condition(20, 1e5, r); }},
      {"condition 1e7", [](Random& r) { return of_condition(20, 1e7, r); }},
      // clang-format on
  };
  Random random(4);
  for (const auto& kind : kFits) {
    for (const int variant : {0, 1, 2, 3}) {
      SCOPED_TRACE(std::string(kind.name) + ", variant " + std::to_string(variant));
      Dense a = kind.make(random);
      const bool twice = variant >= 2 && a.cols > 1;
      if (twice) std::copy_n(a.column(0), a.rows, a.column(1));
      Fit fit{a, random_vector(a.rows, random)};
      fit.weighted = variant % 2 != 0;
      for (double& sigma : fit.sigma) sigma += fit.weighted ? 0.9 * uniform(random) : 0.0;
      fit.run();
      const Dense x = filled(
          a.cols, 1, [&](int j, int) { return fit.x[static_cast<std::size_t>(j)] * fit.column_scale(j); });
      const Dense scaled_a =
          filled(a.rows, a.cols, [&](int i, int j) { return a(i, j) / fit.column_scale(j); });
      EXPECT_TRUE(!twice || std::fabs(x(0, 0) - x(1, 0)) <= 1e-5 * norm1(x));
      const auto misfit = [&](const Dense& matrix, int i) {
        const double product = sum(a.cols, [&](int k) { return matrix(i, k) * x(k, 0); });
        return (fit.b[static_cast<std::size_t>(i)] - product) / fit.deviation(i);
      };
      const Dense residual =
          filled(a.rows, 1, [&](int i, int) { return misfit(scaled_a, i) / fit.deviation(i); });
      EXPECT_LE(worst(1, a.cols,
                      [&](int, int j) {
                        return sum(a.rows, [&](int i) { return scaled_a(i, j) * residual(i, 0); });
                      }),
                1e-13 * norm1(scaled_a) * (norm1(x) + norm1(residual)));
      const double chi2 =
          sum(a.rows, [&](int i) { return std::pow(misfit(a, i), 2); });  // with the scaled solution
      EXPECT_NEAR(fit.chi2, chi2, 1e-9 * chi2);
    }
  }
}

TEST(LinearLeastSquare, WeightsOfOneAndZeroColumns) {
  // The columns have a mean magnitude of 1, so the result is the sum of squares.
  Fit fit{filled(4, 2, [](int i, int j) { return j == 1 && i % 2 == 0 ? -1.0 : 1.0; }), {1, 2, 4, 4}};
  for (const bool weighted : {false, true}) {
    fit.weighted = weighted;
    fit.run();
    EXPECT_NEAR(fit.x[0], 2.75, 1e-15);
    EXPECT_NEAR(fit.x[1], 0.25, 1e-15);
    EXPECT_NEAR(fit.chi2, 6.5, 1e-14);
  }
  fit.a = with_zero_columns(fit.a, 1, 1);
  fit.run();
  EXPECT_EQ(fit.chi2, EmptyValue);
  EXPECT_EQ(fit.x, Vector(2, EmptyValue));
}

TEST(SingularValueDecomposition, RefusedMemoryAndSharedArrays) {
  const auto blocks = corvid_host::LiveBlocks();
  Fit fit{diagonal({1, 1, 2}), {1, 2, 3}};
  Rows rows(fit.a);
  double x[3];
  for (int n = 1; n <= 10; ++n) {
    corvid_host::FailAllocation(n);
    Svd svd(3, 3);
    corvid_host::StopFailing();
    EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
    EXPECT_EQ(svd.LinearLeastSquare(3, 3, x, fit.b.data(), rows.data(), nullptr), EmptyValue);
  }
  {
    Svd svd(3, 3);
    for (int n = 1; n <= 2; ++n) {
      corvid_host::FailAllocation(n);
      EXPECT_EQ(svd.LinearLeastSquare(3, 3, x, fit.b.data(), rows.data(), nullptr), EmptyValue);
      corvid_host::StopFailing();
    }
    EXPECT_NE(svd.LinearLeastSquare(3, 3, x, fit.b.data(), rows.data(), nullptr), EmptyValue);

    Svd other(1, 1);
    unsigned char own[sizeof other];  // put back at the end, so that each array is freed once
    std::memcpy(own, static_cast<void*>(&other), sizeof other);
    other = svd;
    EXPECT_EQ(other.SVals(), svd.SVals());
    EXPECT_EQ(other.Umat(), svd.Umat());
    EXPECT_EQ(other.VMat(), svd.VMat());
    EXPECT_EQ(other.Rank(3), 3);
    std::memcpy(static_cast<void*>(&other), own, sizeof other);
  }
  EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
}

}  // namespace
