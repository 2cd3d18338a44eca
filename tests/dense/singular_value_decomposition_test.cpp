#include "dense/singular_value_decomposition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
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
  Rows rows(a);
  const auto before = rows.values;
  Vector x(4), b(9);
  const int kCalls[][4] = {{3, 4, 9, 4}, {9, 4, 9, 3}, {9, 4, 9, -3}, {9, 4, 8, 4}};  // m, n and the room
  for (const auto& [m, n, room, columns] : kCalls) {
    SCOPED_TRACE(testing::Message() << m << " x " << n << " in " << room << " x " << columns);
    Svd svd(room, columns);
    EXPECT_EQ(svd.LinearLeastSquare(m, n, x.data(), b.data(), rows.data(), nullptr), EmptyValue);
    if (room >= m) {  // the rows of the caller's matrix need none
      EXPECT_EQ(svd.Decomposition(m, n, rows.data()), 0);
    }
    if (columns < n) {
      svd.EditSingularValue(n);
      svd.BackSubstitute(m, n, b.data(), x.data(), rows.data());
      svd.CovarianceMatrix(n, rows.data());
      EXPECT_TRUE(svd.Rank(n) == 0 && svd.ConditionNum(n) == 0.0);
    }
    EXPECT_EQ(x, Vector(4, EmptyValue));
    EXPECT_EQ(rows.values, before);
  }
  b = {3, 4};
  x = {5};
  for (const int n : {0, -4}) {  // nothing to do
    Svd svd(3, 2);
    EXPECT_EQ(svd.Decomposition(2, n, rows.data()), 1);
    EXPECT_EQ(svd.LinearLeastSquare(2, n, x.data(), b.data(), rows.data(), nullptr), 25);
    EXPECT_TRUE(svd.Rank(n) == 0 && std::isnan(svd.ConditionNum(n)) && x[0] == 5);
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
    const Dense full = random_dense(m, n, random), a = deficient ? with_zero_columns(full, 2, 2) : full;
    Rows covariance(Dense(n, n));
    Svd svd(m, n);
    ASSERT_EQ(svd.Decomposition(m, n, Rows(a).data()), 1);
    svd.EditSingularValue(n);
    svd.CovarianceMatrix(n, covariance.data());
    const auto normal = [&](int i, int k) { return sum(m, [&](int r) { return a(r, i) * a(r, k); }); };
    const auto error = [&](int i, int j) {  // what was dropped adds nothing
      const double product = sum(n, [&](int k) { return covariance.data()[k][j] * normal(i, k); });
      return product - (i == j && !(deficient && i == 2) ? 1.0 : 0.0);
    };
    EXPECT_LE(worst(n, n, error), 1e-12);
  }
}

// The residual is orthogonal to the columns; of equal columns each gets its half. The sum of squares is that
// of the solution of the scaled problem, whose columns have a mean magnitude of 1.
TEST(LinearLeastSquare, IsStationary) {
  const struct {
    const char* name;
    Dense (*make)(Random& random);
  } kFits[] = {
      // clang-format off
      {"large", [](Random& r) { return random_dense(300, 100, r); }},
      {"square", [](Random& r) { return of_condition(12, 1e2, r); }},
      {"one column", [](Random& r) { return random_dense(9, 1, r); }},
      {"columns of many sizes", [](Random& r) { return graded(30, 8, r, 1e-20); }},
      {"condition 1e5", [](Random& r) { return of_condition(20, 1e5, r); }},
      {"condition 1e7", [](Random& r) { return of_condition(20, 1e7, r); }},
      // clang-format on
  };
  Random random(4);
  for (const auto& kind : kFits) {
    for (const int variant : {0, 1, 2, 3}) {
      SCOPED_TRACE(std::string(kind.name) + ", variant " + std::to_string(variant));
      Dense a = kind.make(random);
      const int m = a.rows, n = a.cols;
      const bool weighted = variant % 2 != 0, twice = variant >= 2 && n > 1;
      if (twice) std::copy_n(a.column(0), m, a.column(1));
      Vector b = random_vector(m, random), sigma(b.size(), 1.0), x(static_cast<std::size_t>(n));
      for (double& deviation : sigma) deviation += weighted ? 0.9 * uniform(random) : 0.0;
      Rows rows(a);
      const auto before = rows.values;
      const double chi2 = Svd(m, n).LinearLeastSquare(m, n, x.data(), b.data(), rows.data(),
                                                      weighted ? sigma.data() : nullptr);
      EXPECT_EQ(rows.values, before);

      const auto scale = [&](int j) { return sum(m, [&](int i) { return std::fabs(a(i, j)); }) / m; };
      Vector scales, y;
      for (int j = 0; j < n; ++j) {
        scales.push_back(scale(j));
        y.push_back(x[static_cast<std::size_t>(j)] * scales.back());
      }
      const auto scaled_a = [&](int i, int j) { return a(i, j) / scales[static_cast<std::size_t>(j)]; };
      const auto misfit = [&](auto&& element, int i) {
        const double fit = sum(n, [&](int j) { return element(i, j) * y[static_cast<std::size_t>(j)]; });
        return (b[static_cast<std::size_t>(i)] - fit) / sigma[static_cast<std::size_t>(i)];
      };
      Vector residual;
      for (int i = 0; i < m; ++i)
        residual.push_back(misfit(scaled_a, i) / sigma[static_cast<std::size_t>(i)]);
      const auto slope = [&](int, int j) {
        return sum(m, [&](int i) { return scaled_a(i, j) * residual[static_cast<std::size_t>(i)]; });
      };
      EXPECT_LE(worst(1, n, slope), 1e-13 * norm1(filled(m, n, scaled_a)) * (norm1(y) + norm1(residual)));
      EXPECT_TRUE(!twice || std::fabs(y[0] - y[1]) <= 1e-5 * norm1(y));
      const double squares = sum(m, [&](int i) { return std::pow(misfit(a, i), 2); });
      EXPECT_NEAR(chi2, squares, 1e-9 * squares);
    }
  }
}

TEST(SingularValueDecomposition, RefusedMemoryAndSharedArrays) {
  const auto blocks = corvid_host::LiveBlocks();
  Rows rows(diagonal({1, 1, 2})), singular(diagonal({1, 0, 2}));
  double x[3], b[] = {1, 2, 3};
  const auto fit = [&](Svd& svd, Rows& a) { return svd.LinearLeastSquare(3, 3, x, b, a.data(), nullptr); };
  for (int n = 1; n <= 10; ++n) {
    corvid_host::FailAllocation(n);
    Svd svd(3, 3);
    corvid_host::StopFailing();
    EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
    EXPECT_EQ(fit(svd, rows), EmptyValue);
  }
  {
    Svd svd(3, 3);
    for (int n = 1; n <= 2; ++n) {
      corvid_host::FailAllocation(n);
      EXPECT_EQ(fit(svd, rows), EmptyValue);
      corvid_host::StopFailing();
    }
    EXPECT_EQ(fit(svd, singular), EmptyValue) << "a column of zeros has no scale";
    EXPECT_EQ(x[0], EmptyValue);
    EXPECT_NE(fit(svd, rows), EmptyValue);

    Svd other(1, 1);
    unsigned char own[sizeof other];  // put back at the end, so that each array is freed once
    std::memcpy(own, static_cast<void*>(&other), sizeof other);
    other = svd;
    EXPECT_TRUE(other.SVals() == svd.SVals() && other.Umat() == svd.Umat() && other.VMat() == svd.VMat());
    EXPECT_EQ(other.Rank(3), 3);
    std::memcpy(static_cast<void*>(&other), own, sizeof other);
  }
  EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
}

}  // namespace
