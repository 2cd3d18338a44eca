// Factorisations in arrays of every length: short ones say what they need, tight ones collect their garbage,
// and the factors are always the same.

#include "tests/sparse/ma38/routines.h"

namespace reference {
namespace {

TEST(Ma38Memory, LessThanTheLeastIsRefused) {
  for (const Coordinates& matrix :
       {Coordinates{9, 9, {1}, {1}, {3.0}}, Coordinates{2, 2, {1, 1, 2}, {1, 2, 2}, {1.0, 2.0, 3.0}}}) {
    Factoring f(matrix, kSettings[0]);
    const int values = f.shortest_value(), indices = f.shortest_index();
    const struct {
      int values, indices, status;
    } lengths[] = {{values - 1, indices, -4},     {1, indices, -4},
                   {values, indices - 1, -3},     {values, 1, -3},
                   {values - 1, indices - 1, -5}, {1, 1, -5}};
    for (const auto& length : lengths) {
      EXPECT_EQ(f.factor(length.values, length.indices), length.status);
      expect_shortage(f);
      EXPECT_EQ(f.INFO(18), length.indices);
      EXPECT_EQ(f.INFO(19), indices);
      EXPECT_EQ(f.INFO(20), length.values);
      EXPECT_EQ(f.INFO(21), values);
    }
  }
}

TEST(Ma38Memory, FactorsDoNotDependOnIt) {
  Random random(385);
  int index_collections = 0, value_collections = 0, shortages = 0;
  constexpr int kSteps = 6;
  for (const MatrixCase& one : regular_cases(random)) {
    for (const FactorSettings& settings : few_settings()) {
      Factoring ample(one.matrix, settings);
      ample.factor();
      expect_factors(ample);
      if (HasFatalFailure()) return;
      const StoredFactors expected(ample.keep, ample.index, ample.value);
      EXPECT_EQ(ample.INFO(14) + ample.INFO(15), 0) << "garbage collected where there is room";
      const int values = ample.shortest_value(), indices = ample.shortest_index();
      const int more_values = ample.INFO(20) - values, more_indices = ample.INFO(18) - indices;
      for (int step = 0; step < 3 * kSteps; ++step) {
        const int part = step / 3, which = step % 3;  // short of both, of values, of indices
        const int lvalue = which == 2 ? 0 : values + more_values * part / kSteps;
        const int lindex = which == 1 ? 0 : indices + more_indices * part / kSteps;
        SCOPED_TRACE(testing::Message()
                     << settings.name << ", " << one.name << ", lengths " << lvalue << ", " << lindex);
        Factoring f(one.matrix, settings);
        shortages += run_as_asked(f, lvalue, lindex, [&f](int v, int i) { return f.factor(v, i); });
        expect_factors(f);
        const StoredFactors found(f.keep, f.index, f.value);
        EXPECT_EQ(found.rperm, expected.rperm);
        EXPECT_EQ(found.cperm, expected.cperm);
        for (int figure : {10, 11, 13, 22})
          EXPECT_EQ(f.INFO(figure), ample.INFO(figure)) << "INFO " << figure;
        index_collections += f.INFO(14), value_collections += f.INFO(15);
        if (HasFailure()) return;
      }
    }
  }
  EXPECT_GT(index_collections, 0);
  EXPECT_GT(value_collections, 0);
  EXPECT_GT(shortages, 0);
}

/// Word by word from the least to the first lengths that do. Their sums are measured: a collection that
/// leaves gaps, as for the slack in objects, takes more.
TEST(Ma38Memory, EveryLengthEndsWell) {
  Random random(386);
  int beyond_least[] = {0, 0};  // indices, values
  for (const FactorSettings& settings : few_settings()) {
    for (const Coordinates& matrix :
         {random_matrix(7, 7, 0.5, random), block_triangular_matrix({1, 4, 1, 3}, random)}) {
      for (const bool short_values : {false, true}) {
        Factoring f(matrix, settings);
        const int least = short_values ? f.shortest_value() : f.shortest_index();
        for (int length = least;; ++length) {
          SCOPED_TRACE(testing::Message()
                       << settings.name << (short_values ? ", values " : ", indices ") << length);
          ASSERT_LT(length, least + 5000);
          f = Factoring(matrix, settings);
          if (f.factor(short_values ? length : 0, short_values ? 0 : length) >= 0) break;
          EXPECT_EQ(f.INFO(1), short_values ? -4 : -3);
          expect_shortage(f);
          if (HasFailure()) return;
        }
        expect_factors(f);
        beyond_least[short_values] += (short_values ? f.lvalue : f.lindex) - least;
      }
    }
  }
  EXPECT_LE(beyond_least[0], 2163);
  EXPECT_LE(beyond_least[1], 279);
}

}  // namespace
}  // namespace reference
