// The frontal kernel on one block: its choices, lists and counts, and the stamps of its store.

#include "sparse/ma38/front/steps.h"
#include "tests/sparse/ma38/routines.h"

namespace corvidnum {
namespace ma38 {
namespace {

using namespace reference;

/// A block factorised with one step after the other, and its stamps not from their first value on.
struct Stepwise {
  static constexpr Index kLength = 8000;  // ample
  Ints ints;                              // all words of the block, then its permutations
  Vector reals;

  /// @param a     by columns
  /// @param start first stamp, or 0 for the usual one
  Stepwise(const Coordinates& a, const FactorSettings& settings, Index start)
      : ints(a.rows), reals(a.values) {
    Factoring f(a, settings);  // for its controls
    const int n = a.n, nz = a.entries();
    Ints ap(n + 1, 1), rperm(n);
    for (const int column : a.columns) ++ap[column];
    for (int j = 1; j <= n; ++j) ap[j] += ap[j - 1] - 1;
    std::iota(rperm.begin(), rperm.end(), 1);
    Ints cperm = rperm, position = rperm;
    ints.resize(kLength, 77), reals.resize(kLength, 77.0);
    Space space({ints.data(), kLength}, {reals.data(), kLength}, {0, 0}, {nz, nz});
    space.set_heads(nz + 1);
    const Results results(f.info.data(), f.rinfo.data());
    std::fill(f.info.begin(), f.info.end(), 0);
    const FrontControls controls(f.keep.data(), f.cntl.data(), f.icntl.data());
    FactorTotals totals;
    const Columns columns{{ap.data(), n + 1}, space.ints.part(1, nz), space.reals.part(1, nz)};
    const Block block{n,
                      1,
                      false,
                      false,
                      columns,
                      {rperm.data(), n},
                      {cperm.data(), n},
                      OneBased<const int>(position.data(), n)};
    const Index limit = dense_limit(block, controls);
    const BlockCounts counts = count_block(block, limit);
    EXPECT_TRUE(room_for_block(block, counts, space, results));
    Frontal frontal(block, counts, limit, space, controls, totals, results);
    EXPECT_TRUE(prepare_objects(frontal));
    if (start > 0) frontal.stamp = start;
    for (Pivot pivot; search_pivot(frontal, pivot) && pivot.found(); frontal.store.release_last_hole())
      EXPECT_TRUE(form_front(frontal, pivot) && eliminate_front(frontal, pivot));
    EXPECT_TRUE(end_block(frontal));
    space.release(vector_words(block, counts.dense), 0);
    EXPECT_EQ(space.ineed, space.ints.size() - space.itail + 1) << "words left in the accounts";
    EXPECT_EQ(space.xneed, space.reals.size() - space.xtail + 1) << "reals left in the accounts";
    ints.erase(ints.begin(), ints.begin() + space.itail - 1);
    reals.erase(reals.begin(), reals.begin() + space.xtail - 1);
    ints.insert(ints.end(), rperm.begin(), rperm.end());
    ints.insert(ints.end(), cperm.begin(), cperm.end());
  }
};

/// Stamps that come to the end of the integers begin anew, which no matrix of a usual order makes them do.
TEST(FrontalKernel, StampsBeginAnew) {
  Random random(11);
  for (FactorSettings settings : kSettings) {
    settings.blocks = 0;
    for (int round = 0; round < 20; ++round) {
      SCOPED_TRACE(testing::Message() << settings.name << ", round " << round);
      const int n = number(random, 1, 22);
      const Coordinates a =
          with_values(random_matrix(n, n, 0.05 * number(random, 1, 8), random), 0.15, random);
      const Stepwise usual(a, settings, 0), other(a, settings, INT_MAX - 1 - n - round);
      ASSERT_EQ(other.ints, usual.ints);
      expect_close(other.reals, usual.reals);
      if (HasFailure()) return;
    }
  }
}

/// Of order 8, with a diagonal and some zeros as entries.
Coordinates digits(unsigned seed) {
  constexpr int kOrder = 8;
  std::mt19937 random(seed);
  Coordinates m{kOrder, kOrder, {}, {}, {}};
  for (int j = 1; j <= kOrder; ++j) {
    for (int i = 1; i <= kOrder; ++i) {
      const unsigned x = static_cast<unsigned>(random());
      if (x % 100 < 28 || i == j) m.add(i, j, x / 128 % 12 == 0 ? 0.0 : 1.0 + x / 2048 % 99);
    }
  }
  return m;
}

std::string text_of(const std::string& name, const Ints& numbers) {
  std::string text = name;
  for (const int number : numbers) text += " " + std::to_string(number);
  return text;
}

/// Pivot order; of each element its pivots, front (rows x columns) and lists; pivots found and RINFO(2..6).
std::string description(const Factoring& f) {
  const StoredFactors factors(f.keep, f.index, f.value);
  std::string text = factors.fault + text_of("rows", factors.rperm) + text_of(", columns", factors.cperm);
  for (const LuElement& e : factors.blocks[0].elements) {
    text += "; " + std::to_string(e.pivots) + " of " + std::to_string(e.front_rows) + "x" +
            std::to_string(e.front_columns) + text_of(", L", e.l) + text_of(", U", e.u) +
            text_of(", sons", e.children);
  }
  text += "; pivots " + std::to_string(f.INFO(MA38_INFO_PIVOTS)) + ", flops";
  for (int k = MA38_RINFO_ASSEMBLY_FLOPS; k <= MA38_RINFO_LEVEL3_FLOPS; ++k)
    text += " " + std::to_string(std::lround(f.rinfo[k - 1]));
  return text;
}

/// Expected is what a program of its own says, with dense fronts and no store; of 198, where the order of the
/// columns of a finished front matters, what this kernel says with sorted sets in place of its degree lists.
TEST(FrontalKernel, ChoosesListsAndCountsAsTheStepsSay) {
  const struct {
    unsigned seed;
    FactorSettings settings;
    const char* expected;
  } rows[] = {
      {182,
       {"defaults", 0, 0, 0, 64, 1, 0, 4, 16, 2.0, 0.1},
       "rows 1 4 6 5 3 8 2 7, columns 1 8 6 3 5 2 4 7; 2 of 4x3, L 6 7, U 7, sons; "
       "3 of 4x6, L 6, U 7 8 6, sons 17; 2 of 0x0, L 8, U 8, sons 2 1; pivots 7, flops 26 53 8 42 30"},
      {198,
       {"large fronts", 0, 0, 0, 64, 1, 0, 8, 64, 4.0, 0.1},
       "rows 4 8 2 3 6 7 1 5, columns 4 8 5 3 6 1 2 7; 1 of 1x4, L, U 4 2 8, sons; 1 of 2x1, L 8, U, sons; "
       "1 of 2x3, L 8, U 7 8, sons; 5 of 5x5, L, U, sons 3; pivots 8, flops 25 111 7 54 4"},
      {372,
       {"all columns dense", 0, 0, 0, 0, 0, 0, 4, 16, 2.0, 0.1},
       "rows 2 7 3 1 5 4 6 8, columns 2 7 1 3 5 6 4 8; 1 of 1x1, L, U, sons; 1 of 1x2, L, U 4, sons; "
       "3 of 4x4, L 6, U 6, sons; 3 of 0x0, L, U, sons 3; pivots 8, flops 19 53 6 32 6"},
      {347,
       {"some columns dense", 0, 0, 0, 3, 0, 0, 4, 2, 2.0, 0.1},
       "rows 3 5 7 8 4 2 1 6, columns 3 5 7 6 2 1 4 8; 1 of 3x2, L 2 5, U 6, sons; "
       "4 of 6x7, L 8 6, U 7 6 8, sons 1; 3 of 0x0, L, U, sons 2; pivots 8, flops 33 84 13 32 64"},
      {69,
       {"some columns dense", 0, 0, 0, 3, 0, 0, 4, 2, 2.0, 0.1},
       "rows 8 7 3 4 5 1 2 6, columns 8 7 6 3 1 2 4 5; 1 of 2x2, L 8, U 2, sons; "
       "1 of 2x1, L 8, U, sons 1; 2 of 4x4, L 8 5, U 5 7, sons; 4 of 0x0, L, U, sons 3; "
       "pivots 8, flops 26 76 11 22 34"},
      {250,
       {"diagonal", 0, 0, 0, 64, 1, 1, 1, 1, 3.0, 0.1},
       "rows 1 6 3 5 7 8 4 2, columns 1 3 5 7 2 8 4 6; 7 of 8x8, L 8, U 8, sons; "
       "pivots 7, flops 30 45 13 0 70"},
  };
  for (const auto& row : rows) {
    Factoring f(digits(row.seed), row.settings);
    ASSERT_GE(f.factor(), 0) << row.seed;
    EXPECT_EQ(description(f), row.expected) << row.seed;
  }
}

}  // namespace
}  // namespace ma38
}  // namespace corvidnum
