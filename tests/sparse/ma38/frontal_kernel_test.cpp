// The frontal kernel on one block: its choices, lists and counts, and what the garbage collection and the
// stamps of its store must not change.

#include <climits>
#include <functional>

#include "sparse/ma38/front/steps.h"
#include "tests/sparse/ma38/routines.h"

namespace corvidnum {
namespace ma38 {
namespace {

using namespace reference;

constexpr FactorSettings kBlockSettings[] = {
    // name, blocks, preserved, transposed, d1, d2, diagonal, width, block size, growth, tolerance
    {"defaults", 0, 0, 0, 64, 1, 0, 4, 16, 2.0, 0.1},
    {"no growth", 0, 0, 0, 64, 1, 0, 4, 16, 1.0, 0.1},
    {"large fronts", 0, 0, 0, 64, 1, 0, 8, 64, 4.0, 0.1},
    {"all columns dense", 0, 0, 0, 0, 0, 0, 4, 16, 2.0, 0.1},
    {"some columns dense", 0, 0, 0, 3, 0, 0, 4, 2, 2.0, 0.1},
    {"diagonal", 0, 0, 0, 64, 1, 1, 1, 1, 3.0, 0.1},
    {"any pivot", 0, 0, 0, 2, 1, 1, 4, 16, 1.5, 0.001},
};

/// Called before the search for each front's pivot.
using Hook = std::function<void(Frontal&)>;

/// A block factorised with one step after the other.
struct Stepwise {
  static constexpr Index kLength = 8000;  // ample
  Ints ints;                              // all words of the block, then its permutations
  Vector reals;
  bool done = true;

  Stepwise(const Coordinates& a, const FactorSettings& settings, const Hook& hook) {
    Factoring f(a, settings);  // for its controls
    const int n = a.n, nz = a.entries();
    Ints ap(n + 1, 1), rperm(n), position;
    for (int k = 0; k < nz; ++k) ap[a.columns[k]] = k + 2;
    for (int j = 1; j <= n; ++j) ap[j] = std::max(ap[j], ap[j - 1]);
    std::iota(rperm.begin(), rperm.end(), 1);
    Ints cperm = position = rperm;
    ints = a.rows, reals = a.values;
    ints.resize(kLength, 77), reals.resize(kLength, 77.0);
    Space space({ints.data(), kLength}, {reals.data(), kLength}, {0, 0}, {nz, nz});
    space.set_heads(nz + 1);
    const Results results(f.info.data(), f.rinfo.data());
    std::fill(f.info.begin(), f.info.end(), 0);
    const FrontControls controls(f.keep.data(), f.cntl.data(), f.icntl.data());
    FactorTotals totals;
    const Block block{n,
                      1,
                      false,
                      false,
                      {{ap.data(), n + 1}, space.ints.part(1, nz), space.reals.part(1, nz)},
                      {rperm.data(), n},
                      {cperm.data(), n},
                      OneBased<const int>(position.data(), n)};
    run(block, space, controls, totals, results, hook);
    ints.erase(ints.begin(), ints.begin() + space.itail - 1);
    reals.erase(reals.begin(), reals.begin() + space.xtail - 1);
    ints.insert(ints.end(), rperm.begin(), rperm.end());
    ints.insert(ints.end(), cperm.begin(), cperm.end());
  }

 private:
  void run(const Block& block, Space& space, const FrontControls& controls, FactorTotals& totals,
           const Results& results, const Hook& hook) {
    const Index limit = dense_limit(block, controls);
    const BlockCounts counts = count_block(block, limit);
    EXPECT_TRUE(room_for_block(block, counts, space, results));
    Frontal f(block, counts, limit, space, controls, totals, results);
    done = prepare_objects(f);
    for (Pivot pivot; done; f.store.release_last_hole()) {
      hook(f);
      done = search_pivot(f, pivot);
      if (!done || !pivot.found()) break;
      done = form_front(f, pivot) && eliminate_front(f, pivot);
    }
    done = done && end_block(f);
    release_vectors(block, counts, space);
    EXPECT_EQ(space.ineed, space.ints.size() - space.itail + 1) << "words left in the accounts";
    EXPECT_EQ(space.xneed, space.reals.size() - space.xtail + 1) << "reals left in the accounts";
  }
};

/// By columns. Of four kinds, a sixth of the entries zero.
Coordinates some_matrix(Random& random) {
  const int n = number(random, 1, 22), kind = number(random, 0, 3);
  const double density = 0.05 + 0.5 * std::fabs(uniform(random));
  Coordinates m{n, n, {}, {}, {}};
  for (int j = 1; j <= n; ++j) {
    for (int i = 1; i <= n; ++i) {
      const bool structured = (kind == 1 && std::abs(i - j) < 3) || (kind == 2 && (i == 1 || j == n / 2)) ||
                              (kind == 3 && i == j);
      if (structured || std::fabs(uniform(random)) < density)
        m.add(i, j, number(random, 0, 5) == 0 ? 0.0 : uniform(random));
    }
  }
  return m;
}

/// Whether all is stored as without the hook. @param each called for each matrix, makes its hook
void expect_no_change(unsigned seed, int rounds, const std::function<Hook(int)>& each) {
  Random random(seed);
  for (const FactorSettings& settings : kBlockSettings) {
    for (int round = 0; round < rounds; ++round) {
      SCOPED_TRACE(testing::Message() << settings.name << ", round " << round);
      const Coordinates m = some_matrix(random);
      const Stepwise usual(m, settings, [](Frontal&) {}), other(m, settings, each(m.n + round));
      ASSERT_TRUE(usual.done && other.done);
      ASSERT_EQ(other.ints, usual.ints);
      for (std::size_t k = 0; k < usual.reals.size(); ++k)
        ASSERT_NEAR(other.reals[k], usual.reals[k], 1e-9 * (1.0 + std::fabs(usual.reals[k])));
      if (testing::Test::HasFailure()) return;
    }
  }
}

/// Stamps that come to the end of the integers begin anew.
TEST(FrontalKernel, StampsBeginAnew) {
  expect_no_change(11, 25, [](int start) {
    return [start](Frontal& f) {
      if (f.pivots == 0) f.stamp = INT_MAX - 1 - start;
    };
  });
}

void expect_consistent(const Frontal& f) {
  const char* const fault = find_inconsistency(f);
  EXPECT_EQ(fault, nullptr) << (fault == nullptr ? "" : fault);
}

/// After a collection the store is consistent and has no gap, but the slack if that is to be left.
void collect(Frontal& f, bool slack) {
  const Index gap = f.store.append_object(kRowHeader + 1);
  f.word(gap, kLength) = static_cast<int>(kRowHeader + 1), f.word(gap, kDegree) = kGone;
  const Space& s = f.space;
  const Wide used = s.ints_below + s.ints.size() - s.free_ints();
  f.store.collect_garbage(slack);
  expect_consistent(f);
  EXPECT_GE(f.results(MA38_INFO_INDEX_USED), used);
  EXPECT_EQ(f.store.first_real() + s.xneed - f.store.elsewhere().reals - (s.reals.size() - s.xtail + 1),
            s.xhead);
  const Wide ints = s.ineed - f.store.elsewhere().ints - (s.ints.size() - s.itail + 1);
  const Wide spare = s.ihead - f.store.objects_begin() - ints;
  EXPECT_TRUE(slack ? spare >= 0 && spare % 2 == 0 : spare == 0) << spare;
  EXPECT_GE(f.results(MA38_INFO_INDEX_NEEDED), s.ineed + spare);
}

TEST(FrontalKernel, CollectionsChangeNothing) {
  int collections = 0;
  expect_no_change(12, 60, [&collections](int start) {
    return [&collections, start](Frontal& f) {
      const Index which = start + f.pivots;
      expect_consistent(f);
      for (Index e = f.n + 1; f.pivots == 0 && e <= f.nd; ++e) {  // dense columns have room for tuples
        const Index object = f.cp(f.word(f.rp(e), kDenseColumn));
        EXPECT_EQ(f.word(object, kLength), kColumnHeader + 2 + f.dense_limit + 6);
      }
      if (which % 3 != 0) collect(f, which % 2 == 0), ++collections;
    };
  });
  EXPECT_GT(collections, 1000);
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
    int settings;
    const char* expected;
  } rows[] = {
      {182, 0,
       "rows 1 4 6 5 3 8 2 7, columns 1 8 6 3 5 2 4 7; 2 of 4x3, L 6 7, U 7, sons; "
       "3 of 4x6, L 6, U 7 8 6, sons 17; 2 of 0x0, L 8, U 8, sons 2 1; pivots 7, flops 26 53 8 42 30"},
      {198, 2,
       "rows 4 8 2 3 6 7 1 5, columns 4 8 5 3 6 1 2 7; 1 of 1x4, L, U 4 2 8, sons; 1 of 2x1, L 8, U, sons; "
       "1 of 2x3, L 8, U 7 8, sons; 5 of 5x5, L, U, sons 3; pivots 8, flops 25 111 7 54 4"},
      {372, 3,
       "rows 2 7 3 1 5 4 6 8, columns 2 7 1 3 5 6 4 8; 1 of 1x1, L, U, sons; 1 of 1x2, L, U 4, sons; "
       "3 of 4x4, L 6, U 6, sons; 3 of 0x0, L, U, sons 3; pivots 8, flops 19 53 6 32 6"},
      {347, 4,
       "rows 3 5 7 8 4 2 1 6, columns 3 5 7 6 2 1 4 8; 1 of 3x2, L 2 5, U 6, sons; "
       "4 of 6x7, L 8 6, U 7 6 8, sons 1; 3 of 0x0, L, U, sons 2; pivots 8, flops 33 84 13 32 64"},
      {69, 4,
       "rows 8 7 3 4 5 1 2 6, columns 8 7 6 3 1 2 4 5; 1 of 2x2, L 8, U 2, sons; "
       "1 of 2x1, L 8, U, sons 1; 2 of 4x4, L 8 5, U 5 7, sons; 4 of 0x0, L, U, sons 3; "
       "pivots 8, flops 26 76 11 22 34"},
      {250, 5,
       "rows 1 6 3 5 7 8 4 2, columns 1 3 5 7 2 8 4 6; 7 of 8x8, L 8, U 8, sons; "
       "pivots 7, flops 30 45 13 0 70"},
  };
  for (const auto& row : rows) {
    Factoring f(digits(row.seed), kBlockSettings[row.settings]);
    ASSERT_GE(f.factor(), 0) << row.seed;
    EXPECT_EQ(description(f), row.expected) << row.seed;
  }
}

}  // namespace
}  // namespace ma38
}  // namespace corvidnum
