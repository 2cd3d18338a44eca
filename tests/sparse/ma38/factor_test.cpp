// The factors of ma38ad_, read from the stored layout: P A Q = L U to rounding, block by block.

#include "tests/sparse/ma38/routines.h"

namespace reference {
namespace {

FactorSettings random_settings(Random& random) {
  const auto one_of = [&](std::initializer_list<int> of) {
    return of.begin()[number(random, 0, int(of.size()) - 1)];
  };
  return {"random",
          one_of({0, 1, 1}),
          one_of({0, 1}),
          one_of({0, 1}),
          one_of({0, 1, 2, 4, 8, 64}),
          one_of({0, 0, 1}),
          one_of({0, 1}),
          number(random, 1, 8),
          one_of({1, 2, 3, 5, 16, 64}),
          0.5 * number(random, 2, 8),
          one_of({0, 1, 10, 50, 100}) / 100.0};
}

/// The matrix that has these rows; zeros are not entries.
Coordinates of_rows(const std::vector<Vector>& rows) {
  Coordinates a{int(rows.size()), int(rows.size()), {}, {}, {}};
  for (int i = 0; i < a.n; ++i) {
    for (std::size_t j = 0; j < rows[i].size(); ++j)
      if (rows[i][j] != 0.0) a.add(i + 1, int(j) + 1, rows[i][j]);
  }
  return a;
}

std::vector<MatrixCase> cases(Random& random) {
  std::vector<MatrixCase> all = regular_cases(random);
  const MatrixCase more[] = {
      {"an old column in a new row", of_rows({{5, 2, 4}, {3, 5, 2}, {0, 3, 7}})},
      {"a pivot row of an extension", of_rows({{1, 0, 3, 0, 0, 0},
                                               {0, 8, 0, 2, 1, 0},
                                               {8, 0, 4, 3, 1, 8},
                                               {6, 8, 0, 1, 1, 0},
                                               {0, 8, 7, 0, 3, 1},
                                               {8, 9, 0, 0, 9, 5}})},
      {"random", random_matrix(70, 70, 0.06, random)},
      {"random, half full", random_matrix(40, 40, 0.4, random)},
      {"badly scaled", badly_scaled(random_matrix(45, 45, 0.1, random), 12.0, random)},
      {"explicit zeros", with_values(random_matrix(45, 45, 0.12, random), 0.5, random)},
      {"nothing but zeros", with_values(random_matrix(8, 8, 0.4, random), 1.0, random)},
      {"low rank", low_rank_matrix(20, 20, 7, random)},
  };
  all.insert(all.end(), std::begin(more), std::end(more));
  return all;
}

/// Whether the reals of the factors are, those of the matrix among them.
bool all_finite(const Factoring& f) {
  const Vector reals = factor_reals(f);
  return std::all_of(reals.begin(), reals.end(), [](double real) { return std::isfinite(real); });
}

/// Factors as they must be, and no multiplier above what the tolerance allows.
void factor_and_expect(const Coordinates& matrix, const FactorSettings& settings) {
  Factoring f(matrix, settings);
  f.factor();
  expect_factors(f);
  if (settings.tolerance <= 0.0 || testing::Test::HasFatalFailure()) return;
  Dense lower(0, 0), upper(0, 0);
  StoredFactors(f.keep, f.index, f.value).triangles(lower, upper);
  for (const double multiplier : lower.values)
    ASSERT_LE(std::fabs(multiplier) * std::min(settings.tolerance, 1.0), 1.0 + 1e-12);
}

TEST(Ma38Factors, GiveTheMatrixBack) {
  Random random(381);
  for (const MatrixCase& one : cases(random)) {
    for (const FactorSettings& settings : kSettings) {
      SCOPED_TRACE(testing::Message() << one.name << ", " << settings.name);
      factor_and_expect(one.matrix, settings);
      if (HasFailure()) return;
    }
  }
}

TEST(Ma38Factors, GiveTheMatrixBackWhateverItIs) {
  for (unsigned seed = 0; seed < 3000; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const int n = number(random, 1, seed % 10 == 0 ? 60 : 14);
    Coordinates matrix = random_matrix(n, n, 0.05 * number(random, 1, 10), random);
    if (matrix.entries() == 0) matrix.add(1, n, 1.0);
    if (seed % 4 == 1) matrix = with_values(matrix, 0.2, random);
    if (seed % 4 == 2) matrix = with_faulty_entries(matrix, 3, 3, random);
    factor_and_expect(matrix, random_settings(random));
    if (HasFailure()) return;
  }
}

/// Nodes by arcs, +1 and -1 where an arc begins and ends: every elimination of it is exact. Rows and columns
/// scaled by powers of two. @return the rank: nodes less components
int incidence_matrix(int n, int arcs, Coordinates& a, Random& random) {
  a = Coordinates{n, n, {}, {}, {}};
  Ints component(n), row(n);
  std::iota(component.begin(), component.end(), 0);
  for (int& power : row) power = number(random, -3, 3);
  int rank = 0;
  for (int arc = 1; arc <= arcs; ++arc) {
    const int from = number(random, 0, n - 1), to = (from + number(random, 1, n - 1)) % n;
    const int column = number(random, -3, 3);
    a.add(from + 1, arc, std::ldexp(1.0, row[from] + column));
    a.add(to + 1, arc, -std::ldexp(1.0, row[to] + column));
    const int old = component[from], joined = component[to];
    rank += old != joined;
    std::replace(component.begin(), component.end(), old, joined);
  }
  return rank;
}

TEST(Ma38Factors, HaveAsManyPivotsAsTheRank) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    Random random(seed);
    const int n = number(random, 2, 40);
    Coordinates matrix;
    const int rank = incidence_matrix(n, number(random, 1, n), matrix, random);
    const FactorSettings settings = random_settings(random);
    SCOPED_TRACE(testing::Message() << "seed " << seed << ", order " << n);
    Factoring f(matrix, settings);
    f.factor();
    expect_factors(f);
    // Entries off singular blocks may add to the rank.
    EXPECT_TRUE(settings.blocks == 1 ? f.INFO(17) <= rank : f.INFO(17) == rank) << f.INFO(17);
    EXPECT_EQ(f.INFO(1) & 4, 4);
    if (HasFailure()) return;
  }
}

/// 2 x 2 by columns. Without blocks, but for those of order 1.
TEST(Ma38Factors, CountNoPivotThatIsNotFinite) {
  const double inf = HUGE_VAL, nan = std::nan("");
  FactorSettings any = kSettings[2], one_by_one = any, blocks = kSettings[0];
  any.tolerance = 0.0, one_by_one.width = 1;
  const struct {
    const char* name;
    const FactorSettings& settings;
    Vector values;
    int pivots;
  } cases[] = {
      {"all finite", kSettings[2], {1e308, 2e307, 2e307, 1e308}, 2},
      {"what is left overflows", kSettings[2], {2e307, 1e308, 1.7e308, 2e307}, 1},
      {"least pivots", kSettings[2], {0x1.0000000000004p-1024, 0.0, 0.0, 1.0}, 2},
      {"infinite reciprocal", kSettings[2], {0x1p-1024, 0.0, 0.0, 1.0}, 1},
      {"infinite reciprocals", kSettings[2], {4e-310, 1e-310, 2e-310, 3e-310}, 0},
      {"infinite element", kSettings[2], {inf, 1.0, 1.0, 3.0}, 1},
      {"NaN below a number", kSettings[2], {1.0, nan, 1.0, 3.0}, 1},
      {"NaN above a number", kSettings[2], {nan, 1.0, 1.0, 3.0}, 1},
      {"infinite in the pivot row alone", one_by_one, {1.0, 0.0, inf, 3.0}, 1},
      {"infinite reciprocal beside a finite one", any, {1e-310, 1e-305, 1e-305, 1e-305}, 2},
      {"multiplier that would overflow", any, {1e-300, 1e10, 1.0, 1.0}, 2},
      {"blocks of order 1", blocks, {-0x1.0000000000004p-1024, 0.0, 0.0, 1.0}, 2},
      {"block with an infinite reciprocal", blocks, {1e-310, 0.0, 0.0, 1.0}, 1},
      {"infinite and undefined block", blocks, {-inf, 0.0, 0.0, nan}, 0},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    Coordinates matrix{2, 2, {}, {}, {}};
    for (int k = 0; k < 4; ++k)
      if (one.values[k] != 0.0) matrix.add(k % 2 + 1, k / 2 + 1, one.values[k]);
    Factoring f(matrix, one.settings);
    EXPECT_EQ(f.factor(), one.pivots == 2 ? 0 : 4);
    EXPECT_EQ(f.INFO(17), one.pivots);
    if (one.pivots == 2) expect_factors(f);
  }
}

/// A pivot is chosen by a sum that is formed again in another order. Where that cancels to zero, as it does
/// in this matrix and in few others, the pivot keeps the value that it was chosen for.
TEST(Ma38Factors, KeepAPivotThatCancelsInAnotherOrder) {
  Random random(13295);
  const int n = number(random, 3, 12);
  Coordinates a = random_matrix(n, n, 0.1 * number(random, 2, 7), random);
  for (double& value : a.values) value = Vector{1.0, -1.0, 1e-20, -1e-20}[number(random, 0, 3)];
  Factoring f(a, {"any pivots", 0, 0, 0, 0, 1, 1, 7, 16, 2.0, 0.0});
  f.factor();
  expect_factors(f);
  EXPECT_TRUE(all_finite(f));
}

TEST(Ma38Factors, AreFiniteUnlessTheRankTellsOtherwise) {
  int full = 0, deficient = 0, failed = 0;
  for (unsigned seed = 0; seed < 4000; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const int n = number(random, 2, 30);
    Coordinates matrix = banded_matrix(n, 1, 1, random);
    const Coordinates more = random_matrix(n, n, 0.05 * number(random, 1, 6), random);
    for (int k = 0; k < more.entries(); ++k) matrix.add(more.rows[k], more.columns[k], more.values[k]);
    const double size = std::pow(10.0, number(random, 304, 308));
    for (double& value : matrix.values) value = size * std::min(1.7, std::fabs(value));
    Factoring f(matrix, random_settings(random));
    f.factor();
    ASSERT_GE(f.INFO(1), 0);
    const bool finite = f.INFO(17) == n;
    ++(finite ? full : deficient);
    if (finite) {
      EXPECT_TRUE(all_finite(f));
    }
    const Ints pattern = f.pattern();
    for (double& value : f.matrix.values) value *= 1.0 + 0.05 * uniform(random);
    const int status = f.refactor(pattern);
    EXPECT_TRUE(status == -6 || status >= 0) << status;
    failed += status == -6;
    if (status >= 0 && (finite || status < 4)) {
      EXPECT_TRUE(all_finite(f));
    }
    if (HasFailure()) return;
  }
  EXPECT_GT(std::min({full, deficient, failed}), 200);
}

TEST(Ma38Factors, FindTheBlocks) {
  Random random(382);
  for (Ints orders : {Ints{3, 1, 4, 1, 5, 9, 2, 6}, Ints(12, 1), Ints{30}, Ints{1, 1, 2}, Ints{25, 1}}) {
    for (const int preserved : {0, 1}) {
      Factoring f(block_triangular_matrix(orders, random), kSettings[preserved]);
      f.factor();
      expect_factors(f);
      Ints found;
      for (const LuBlock& block : StoredFactors(f.keep, f.index, f.value).blocks)
        found.push_back(block.order);
      std::sort(orders.begin(), orders.end()), std::sort(found.begin(), found.end());
      EXPECT_EQ(found, orders);
    }
  }
}

/// Dominant by columns and of symmetric pattern: then the diagonal always serves.
TEST(Ma38Factors, StayOnTheDiagonalIfAsked) {
  Random random(383);
  for (int n : {1, 2, 20, 60}) {
    Coordinates a = banded_matrix(n, 3, 3, random);
    for (std::size_t k = 0; k < a.values.size(); ++k) a.values[k] += a.rows[k] == a.columns[k] ? 8.0 : 0.0;
    FactorSettings settings = kSettings[6];
    settings.tolerance = 1.0;
    Factoring f(a, settings);
    f.factor();
    expect_factors(f);
    EXPECT_EQ(f.INFO(16), n);
  }
}

/// A place given three times, once with a fault; and the errors of what is given.
TEST(Ma38Factors, CountWhatIsGiven) {
  const FactorSettings& settings = kSettings[0];
  struct {
    const char* name;
    Coordinates matrix;
    int status, duplicates, invalid;
  } const given[] = {
      {"order 0", {0, 0, {1}, {1}, {1.0}}, -1, 0, 0},
      {"order -1, nothing", {-1, -1, {}, {}, {}}, -1, 0, 0},
      {"nothing", {2, 2, {}, {}, {}}, -2, 0, 0},
      {"nothing valid", {2, 2, {0, 3}, {1, 1}, {1.0, 2.0}}, -2, 0, 2},
      {"faulty", {2, 2, {1, 1, 1, 1, 2, 3}, {1, 1, 1, 3, 2, 3}, {1.0, 2.0, 4.0, 8.0, 1.0, 1.0}}, 3, 2, 2},
      {"singular, twins", {2, 2, {1, 1}, {1, 1}, {1.0, 2.0}}, 6, 1, 0},
  };
  for (const auto& one : given) {
    SCOPED_TRACE(one.name);
    Factoring f(one.matrix, settings);
    EXPECT_EQ(f.factor(100, 100), one.status);
    EXPECT_EQ(f.INFO(2), one.duplicates);
    EXPECT_EQ(f.INFO(3), one.invalid);
    for (int k = 1; k <= 5; ++k) EXPECT_EQ(f.KEEP(k) == 0, one.status < 0);
    if (one.status >= 0) expect_factors(f);
    if (one.matrix.n < 1 || one.matrix.entries() < 1) {  // nothing is known of the lengths
      EXPECT_EQ(f.INFO(6), one.matrix.entries());
      for (int figure = 18; figure <= 23; ++figure) EXPECT_EQ(f.INFO(figure), 0);
    }
  }
}

/// Lengths counted by hand, where every block has order 1.
TEST(Ma38Factors, TellWhatTheyNeed) {
  Coordinates triangle{5, 5, {}, {}, {}};
  for (int j = 1; j <= 5; ++j) {
    for (int i = 1; i <= j; ++i) triangle.add(i, j, 1.0 + i);
  }
  const Coordinates empty_diagonal{3, 3, {1, 2}, {2, 3}, {1.0, 1.0}};
  const struct {
    const char* name;
    Coordinates matrix;
    int preserved, index_needed, value_needed, index_for_refactor, value_for_refactor;
  } cases[] = {
      {"triangle", triangle, 0, 85, 30, 91, 30},
      {"triangle, preserved", triangle, 1, 77, 30, 95, 35},
      {"empty diagonal", empty_diagonal, 0, 41, 4, 45, 5},
      {"empty diagonal, preserved", empty_diagonal, 1, 43, 5, 51, 7},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    Factoring f(one.matrix, kSettings[one.preserved]);
    f.factor();
    expect_factors(f);
    const Ints lengths{one.index_needed, one.index_needed,       one.value_needed,  // nothing is garbage
                       one.value_needed, one.index_for_refactor, one.value_for_refactor};
    EXPECT_EQ(Ints(f.info.begin() + 17, f.info.begin() + 23), lengths);
    EXPECT_GE(f.factor(one.value_needed, one.index_needed), 0);
    EXPECT_EQ(f.factor(one.value_needed, one.index_needed - 1), -3);
  }
}

TEST(Ma38Factors, HaveDefaults) {
  Ints keep(20, -7), icntl(20, -7);
  Vector cntl(10, -7.0);
  ma38id_(keep.data(), cntl.data(), icntl.data());
  EXPECT_EQ(keep, (Ints{-7, -7, -7, -7, -7, 0, 64, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(icntl, (Ints{6, 6, 2, 1, 4, 0, 16, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(cntl, (Vector{0.1, 2.0, 2.2204460492504e-16, 0, 0, 0, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace reference
