// Factorisations, and ones that repeat them, in arrays of every length: short ones say what they need, tight
// ones collect their garbage, and the factors are always the same.

#include "tests/sparse/ma38/routines.h"

namespace reference {
namespace {

/// One of the two routines on a matrix; the lengths below which it refuses to begin, and those that it needs
/// to end without a collection.
struct Routine {
  Factoring ample;  // what it leaves where there is room
  Ints pattern;     // of the factorisation that is repeated; none: it is the first
  int least_values, least_indices, enough_values, enough_indices;

  Routine(const Coordinates& matrix, const FactorSettings& settings, bool repeats) : ample(matrix, settings) {
    ample.factor();
    least_values = ample.shortest_value(), least_indices = ample.shortest_index();
    enough_values = ample.INFO(20), enough_indices = ample.INFO(18);
    if (!repeats) return;
    enough_values = ample.INFO(23), enough_indices = ample.INFO(22);
    pattern = ample.pattern();
    least_indices += int(pattern.size());
    ample.refactor(pattern);
  }
  /// @param values, indices lengths; 0: more than enough
  int run(Factoring& f, int values, int indices) const {
    return pattern.empty() ? f.factor(values, indices) : f.refactor(pattern, values, indices);
  }
};

void expect_the_same(const Factoring& f, const Factoring& ample) {
  expect_factors(f);
  if (testing::Test::HasFatalFailure()) return;
  const StoredFactors found(f.keep, f.index, f.value), expected(ample.keep, ample.index, ample.value);
  EXPECT_EQ(found.rperm, expected.rperm);
  EXPECT_EQ(found.cperm, expected.cperm);
  for (const int figure : {10, 11, 13, 22})
    EXPECT_EQ(f.INFO(figure), ample.INFO(figure)) << "INFO " << figure;
  expect_close(factor_reals(f), factor_reals(ample));
}

TEST(Ma38Memory, LessThanTheLeastIsRefused) {
  for (const Coordinates& matrix :
       {Coordinates{9, 9, {1}, {1}, {3.0}}, Coordinates{2, 2, {1, 1, 2}, {1, 2, 2}, {1.0, 2.0, 3.0}}}) {
    for (const bool repeats : {false, true}) {
      const Routine routine(matrix, kSettings[0], repeats);
      const int values = routine.least_values, indices = routine.least_indices;
      const struct {
        int values, indices, status;
      } lengths[] = {{values - 1, indices, -4},
                     {1, indices, -4},
                     {values, indices - 1, -3},
                     {values - 1, indices - 1, -5}};
      for (const auto& length : lengths) {
        Factoring f = routine.ample;
        EXPECT_EQ(routine.run(f, length.values, length.indices), length.status);
        expect_shortage(f);
        EXPECT_EQ(f.INFO(18), length.indices);
        EXPECT_EQ(f.INFO(19), indices);
        EXPECT_EQ(f.INFO(20), length.values);
        EXPECT_EQ(f.INFO(21), values);
        EXPECT_TRUE(f.INFO(23) == values || !repeats) << f.INFO(23);
      }
    }
  }
}

/// From the least lengths to those that do: a shortage asks for more, and a retry comes through.
TEST(Ma38Memory, LengthsAreAskedForUntilTheyDo) {
  Random random(385);
  constexpr int kSteps = 3;
  for (const bool repeats : {false, true}) {
    int index_collections = 0, value_collections = 0, shortages = 0;
    for (const MatrixCase& one : regular_cases(random)) {
      for (const FactorSettings& settings : few_settings()) {
        const Routine routine(one.matrix, settings, repeats);
        EXPECT_EQ(routine.ample.INFO(14) + routine.ample.INFO(15), 0) << "collected where there is room";
        for (int step = 0; step < 3 * kSteps + 1; ++step) {
          const int part = step / 3, which = step % 3;  // short of both, of values, of indices
          const auto length = [=](int least, int enough) { return least + (enough - least) * part / kSteps; };
          const int values = which == 2 ? 0 : length(routine.least_values, routine.enough_values);
          const int indices = which == 1 ? 0 : length(routine.least_indices, routine.enough_indices);
          SCOPED_TRACE(testing::Message() << settings.name << ", " << one.name << ", repeats " << repeats
                                          << ", lengths " << values << ", " << indices);
          Factoring f = routine.ample;
          const int tries =
              run_as_asked(f, values, indices, [&](int v, int i) { return routine.run(f, v, i); });
          EXPECT_TRUE(tries == 0 || part < kSteps) << "short of what was said to do";
          expect_the_same(f, routine.ample);
          if (HasFailure()) return;
          shortages += tries, index_collections += f.INFO(14), value_collections += f.INFO(15);
        }
      }
    }
    EXPECT_GT(shortages, 0);
    EXPECT_GT(value_collections, 0);
    EXPECT_EQ(index_collections > 0, !repeats) << "a repeated factorisation has nothing to collect there";
  }
}

/// Word by word from the least lengths on. The sums of the first that do are measured: a collection that
/// leaves gaps, as for the slack in objects, takes more.
TEST(Ma38Memory, EveryLengthIsRefusedOrDoes) {
  Random random(386), of_repeats(400);
  int beyond_least[2][2] = {}, collections[] = {0, 0};  // of the first and of repeated ones: indices, values
  const auto sweep = [&](const Coordinates& matrix, const FactorSettings& settings, bool repeats,
                         bool short_values) {
    const Routine routine(matrix, settings, repeats);
    const int least = short_values ? routine.least_values : routine.least_indices;
    const int enough = short_values ? routine.enough_values : routine.enough_indices;
    int first = 0;
    for (int length = least; length <= enough; ++length) {
      SCOPED_TRACE(testing::Message() << settings.name << ", order " << matrix.n << ", repeats " << repeats
                                      << (short_values ? ", values " : ", indices ") << length);
      Factoring f = routine.ample;
      if (routine.run(f, short_values ? length : 0, short_values ? 0 : length) < 0) {
        EXPECT_EQ(f.INFO(1), short_values ? -4 : -3);
        EXPECT_EQ(first, 0) << "less was enough";
        expect_shortage(f);
      } else {
        if (first == 0) first = length;
        expect_the_same(f, routine.ample);
        collections[repeats] += f.INFO(14) + f.INFO(15);
      }
      if (testing::Test::HasFailure()) return;
    }
    EXPECT_GT(first, 0) << "never enough";
    beyond_least[repeats][short_values] += first - least;
  };
  for (const FactorSettings& settings : few_settings()) {
    for (const Coordinates& matrix :
         {random_matrix(7, 7, 0.5, random), block_triangular_matrix({1, 4, 1, 3}, random)}) {
      for (const bool short_values : {false, true}) sweep(matrix, settings, false, short_values);
    }
    for (const Coordinates& matrix : {dominated(random_matrix(24, 24, 0.12, of_repeats), of_repeats),
                                      dominated(random_matrix(45, 45, 0.06, of_repeats), of_repeats)})
      sweep(matrix, settings, true, true);
    if (HasFailure()) return;
  }
  EXPECT_LE(beyond_least[false][false], 2163);
  EXPECT_LE(beyond_least[false][true], 279);
  EXPECT_LE(beyond_least[true][true], 1867);
  EXPECT_GT(collections[false], 0);
  EXPECT_GT(collections[true], 0);
}

}  // namespace
}  // namespace reference
