// Equilibration: the largest elements, limits, and what becomes of the condition.

#include "sparse/solver/scaling.h"

#include <gtest/gtest.h>

#include "host/corvid_host.h"
#include "tests/sparse/solver/small_pattern.h"

namespace {

using namespace corvidnum::solver;
using namespace reference;
using solver_tests::SmallPattern;

struct Scaling {
  Array<int> row, column;

  explicit Scaling(const SmallPattern& p) {
    EXPECT_TRUE(equilibrate(p.view(), p.values().data(), ScalingEffort::kThorough, row, column));
  }
};

/// The scaled matrix, in full. Fails on entries or exponents that are out of their range.
Dense scaled_matrix(const SmallPattern& p, const Scaling& s) {
  Dense result(p.order(), p.order());
  const Pattern view = p.view();
  for (int i = 0; i < p.order(); ++i) {
    for (int k = view.row_begin[i]; k < view.row_begin[i + 1]; ++k) {
      const int j = view.column[k], exponent = s.row[i] + s.column[j];
      const double value = p.values()[static_cast<std::size_t>(k)];
      result(i, j) = scaled(value, exponent);
      EXPECT_EQ(result(i, j), std::ldexp(value, exponent));
      EXPECT_LE(std::fabs(result(i, j)), std::max(1.5, std::fabs(value)));
    }
    EXPECT_LE(std::max(std::abs(s.row[i]), std::abs(s.column[i])), kMostScaleExponent);
  }
  return result;
}

/// Expects the largest element of each row and column with entries near 1, and exponents of 0 elsewhere.
void expect_equilibrated(const SmallPattern& p) {
  const Scaling s(p);
  const Dense a = scaled_matrix(p, s);
  constexpr double kRoot = 1.4142135623730951;
  for (int line = 0; line < a.rows; ++line) {
    double row = 0.0, column = 0.0;
    for (int k = 0; k < a.cols; ++k) {
      row = std::max(row, std::fabs(a(line, k)));
      column = std::max(column, std::fabs(a(k, line)));
    }
    EXPECT_TRUE(row == 0.0 ? s.row[line] == 0 : 1.0 / kRoot <= row && row <= kRoot) << row;
    EXPECT_TRUE(column == 0.0 ? s.column[line] == 0 : 1.0 / kRoot <= column && column <= kRoot) << column;
  }
}

TEST(Scaling, BringsTheLargestElementsOfRowsAndColumnsToOne) {
  Random random(14);
  for (int trial = 0; trial < 400; ++trial) {
    SCOPED_TRACE(trial);
    const int n = trial % 25;
    Coordinates a =
        badly_scaled(random_matrix(n, n, 0.05 + 0.1 * (trial % 7), random), 5.0 * (trial % 10), random);
    for (std::size_t k = 0; k < a.values.size(); k += 7) a.values[k] = 0.0;  // explicit zeros
    expect_equilibrated(SmallPattern(a));
  }
  const double extremes[] = {5e-324, 3e-320, 2.2250738585072014e-308, 1e-300,
                             1.0,    1e300,  1.7976931348623157e308};
  for (const double x : extremes) {
    expect_equilibrated(SmallPattern(Coordinates{1, 1, {1}, {1}, {-x}}));
    expect_equilibrated(SmallPattern(Coordinates{2, 2, {1, 1, 2, 2}, {1, 2, 1, 2}, {x, x, x, -x}}));
    for (const double y : extremes) {
      expect_equilibrated(SmallPattern(Coordinates{2, 2, {1, 2}, {1, 2}, {x, y}}));
    }
  }
}

TEST(Scaling, StaysFiniteWhereTheLimitsBind) {
  // A chain whose scaling to 1 throughout would need exponents of some 2000 for each link.
  Coordinates chain{12, 12, {}, {}, {}};
  for (int i = 1; i <= 12; ++i) {
    chain.add(i, i, 1e300);
    if (i > 1) chain.add(i - 1, i, 1e-300);
    if (i > 2) chain.add(i, i - 2, 1e-300);
  }
  const SmallPattern p(chain);
  scaled_matrix(p, Scaling(p));
  const SmallPattern odd(
      Coordinates{2, 2, {1, 1, 2}, {1, 2, 2}, {8.0, std::nan(""), std::numeric_limits<double>::infinity()}});
  const Scaling s(odd);
  EXPECT_EQ(s.row[0] + s.column[0], -3);
  EXPECT_TRUE(s.row[1] == 0 && s.column[1] == 0) << "no entry counts";
}

/// The 1-norm condition by the columns of the inverse.
double condition(const Dense& a) {
  double largest = 0.0;
  for (int j = 0; j < a.cols; ++j) {
    Vector unit(static_cast<std::size_t>(a.rows)), x;
    unit[static_cast<std::size_t>(j)] = 1.0;
    dense_solve(a, unit, x);
    largest = std::max(largest, norm1(x));
  }
  return norm1(a) * largest;
}

TEST(Scaling, UndoesUnitsThatAreDecadesApart) {
  Random random(16);
  double worst = 0.0;
  for (int trial = 0; trial < 30; ++trial) {
    const Coordinates a =
        trial % 2 ? column_matrix(4 + trial / 3, 3, random) : flowsheet_matrix(3 + trial / 3, 4, random);
    const SmallPattern good(a), bad(badly_scaled(a, 24.0, random));
    const double before = condition(scaled_matrix(good, Scaling(good)));
    worst = std::max(worst, condition(scaled_matrix(bad, Scaling(bad))) / before);
  }
  EXPECT_LT(worst, 1e3);
}

TEST(Scaling, IgnoresTinyEntries) {
  Random random(17);
  for (int trial = 0; trial < 20; ++trial) {
    Coordinates a = banded_matrix(20, 2, 2, random);
    const SmallPattern plain(a);
    for (int i = 1; i <= 17; ++i)
      a.add(i, number(random, i + 3, 20), std::pow(10.0, -number(random, 30, 250)));
    const SmallPattern odd(a);
    EXPECT_LT(condition(scaled_matrix(odd, Scaling(odd))),
              10.0 * condition(scaled_matrix(plain, Scaling(plain))));
  }
}

TEST(Scaling, SurvivesEachRefusalOfMemory) {
  Random random(18);
  const SmallPattern p(banded_matrix(5, 1, 1, random));
  const std::int64_t before = corvid_host::LiveBlocks();
  for (int n = 1; n <= 6; ++n) {
    Array<int> row, column;
    corvid_host::FailAllocation(n);
    EXPECT_EQ(equilibrate(p.view(), p.values().data(), ScalingEffort::kThorough, row, column), n == 6);
    corvid_host::StopFailing();
    row.release();
    column.release();
    EXPECT_EQ(corvid_host::LiveBlocks(), before);
  }
}

}  // namespace
