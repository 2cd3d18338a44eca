// The frontal kernel on one block: P A Q = L U from the words and reals that it stores, and nothing is left
// in the accounts of the store. The choices, lists and counts expected come from a program of its own, with
// dense fronts and no store.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "sparse/ma38/frontal_steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

struct Settings {
  const char* name;
  int d1, d2, width, prefer_diagonal, block_size;
  double threshold, growth;
};
constexpr Settings kSettings[] = {
    {"defaults", 64, 1, 4, 0, 16, 0.1, 2.0},         {"no growth", 64, 1, 4, 0, 16, 0.1, 1.0},
    {"large fronts", 64, 1, 8, 0, 64, 0.1, 4.0},     {"all columns dense", 0, 0, 4, 0, 16, 0.1, 2.0},
    {"some columns dense", 3, 0, 4, 0, 2, 0.1, 2.0}, {"diagonal", 64, 1, 1, 1, 1, 0.1, 3.0},
    {"largest pivots", 64, 1, 4, 0, 3, 1.0, 2.0},    {"any pivot", 2, 1, 4, 1, 16, 0.001, 1.5},
};

struct Matrix {
  int n;
  std::vector<double> a;        // by columns
  std::vector<bool> has_entry;  // an entry can be 0
  explicit Matrix(int order)
      : n(order), a(static_cast<std::size_t>(n * n)), has_entry(static_cast<std::size_t>(n * n)) {}
  std::size_t place(int i, int j) const { return static_cast<std::size_t>(j * n + i); }
  void set(int i, int j, double value) {
    a[place(i, j)] = value;
    has_entry[place(i, j)] = true;
  }
};

Matrix by_rows(int n, const std::vector<double>& values) {
  Matrix m(n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      const double value = values[static_cast<std::size_t>(i * n + j)];
      if (value != 0.0) m.set(i, j, value);
    }
  }
  return m;
}

Matrix random_matrix(std::mt19937& random) {
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  const int n = 1 + static_cast<int>(random() % 22), kind = static_cast<int>(random() % 4);
  const double density = 0.05 + 0.5 * std::fabs(value(random));
  Matrix m(n);
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < n; ++i) {
      const bool structured = (kind == 1 && std::abs(i - j) < 3) || (kind == 2 && (i == 0 || j == n / 2)) ||
                              (kind == 3 && i == j);
      if (structured || std::fabs(value(random)) < density) {
        m.set(i, j, random() % 6 == 0 ? 0.0 : value(random));
      }
    }
  }
  return m;
}

/// What ma38_block_setup does, but that the stamps begin at `stamp`.
bool factor_from_stamp(const Block& block, Space& space, const FrontControls& controls, FactorTotals& totals,
                       const Results& results, Index stamp) {
  const Index limit = dense_limit(block, controls);
  const BlockCounts counts = count_block(block, limit);
  if (!room_for_block(block, counts, space, results)) return false;
  Frontal f = make_column_objects(block, counts, limit, space, controls, totals, results);
  if (!prepare_objects(f)) return false;
  f.stamp = stamp;
  for (Pivot pivot; search_pivot(f, pivot) && pivot.found(); free_tail(f)) {
    if (!form_front(f, pivot) || !eliminate_front(f, pivot)) return false;
  }
  return end_block(f);
}

/// A factorisation in arrays of given lengths. stamp: where the stamps begin, 0: as usual.
struct Factored {
  bool done;
  std::vector<int> ints, rows, columns, info = std::vector<int>(40);
  std::vector<double> reals, rinfo = std::vector<double>(20);
  Index header = 0, first_real = 0;
  Wide ints_in_use = 0, reals_in_use = 0;

  Factored(const Matrix& m, const Settings& s, int lindex, int lvalue, Index stamp = 0) {
    std::vector<int> ap{1}, place(static_cast<std::size_t>(m.n));
    for (int j = 0; j < m.n; ++j) {
      for (int i = 0; i < m.n; ++i) {
        if (!m.has_entry[m.place(i, j)]) continue;
        ints.push_back(i + 1);
        reals.push_back(m.a[m.place(i, j)]);
      }
      ap.push_back(static_cast<int>(ints.size()) + 1);
      rows.push_back(j + 1);
    }
    columns = place = rows;
    const Index nz = static_cast<Index>(ints.size());
    ints.resize(std::max(ints.size(), static_cast<std::size_t>(lindex)), -77);
    reals.resize(std::max(reals.size(), static_cast<std::size_t>(lvalue)),
                 std::numeric_limits<double>::quiet_NaN());
    const Index li = static_cast<Index>(ints.size()), lv = static_cast<Index>(reals.size());
    Space space{{ints.data(), li}, {reals.data(), lv}, nz + 1, li + 1, nz + 1, lv + 1, 0, 0, nz, nz};
    std::vector<int> keep(20), icntl(20);
    std::vector<double> cntl(10);
    keep[6] = s.d1, keep[7] = s.d2;
    icntl[4] = s.width, icntl[5] = s.prefer_diagonal, icntl[6] = s.block_size;
    cntl[0] = s.threshold, cntl[1] = s.growth;
    const FrontControls controls(keep.data(), cntl.data(), icntl.data());
    const Block block{m.n,
                      1,
                      false,
                      false,
                      {{ap.data(), m.n + 1}, space.ints.part(1, nz), space.reals.part(1, nz)},
                      {rows.data(), m.n},
                      {columns.data(), m.n},
                      OneBased<const int>(place.data(), m.n)};
    FactorTotals totals;
    Wide above = 0;
    const Results results(info.data(), rinfo.data());
    done = stamp == 0 ? ma38_block_setup(block, space, controls, totals, above, results)
                      : factor_from_stamp(block, space, controls, totals, results, stamp);
    header = space.itail - 1;
    first_real = space.xtail - 1;
    ints_in_use = space.ineed - (li - space.itail + 1);
    reals_in_use = space.xneed - (lv - space.xtail + 1);
  }
  int word(Index at) const { return ints[static_cast<std::size_t>(at)]; }
};

/// Largest |LU - PAQ| over |L||U| + |A|; what has no pivot is held against the largest entry.
double error_of(const Matrix& m, const Factored& f) {
  const int n = m.n;
  std::vector<double> l(m.a.size()), u(m.a.size());
  for (int k = 0; k < n; ++k) l[m.place(k, k)] = 1.0;
  const int elements = f.word(f.header + kBlockElements), pivots = f.word(f.header + kBlockPivots);
  int first = 0;
  for (int e = 0; e < elements; ++e) {
    const Index lu = f.header + kBlockPointers + elements + f.word(f.header + kBlockPointers + e) - 1;
    const int k = f.word(lu + kElementPivots), nl = f.word(lu + kElementL), nu = f.word(lu + kElementU);
    const double* x = f.reals.data() + f.first_real + f.word(lu + kElementReals) - 1;
    for (int j = first; j < first + k; ++j) {
      for (int i = first; i < first + k; ++i) (i > j ? l : u)[m.place(i, j)] = *x++;
      for (int i = 0; i < nl; ++i) l[m.place(f.word(lu + kElementLists + i) - 1, j)] = *x++;
    }
    for (int j = 0; j < nu; ++j) {
      for (int i = first; i < first + k; ++i) u[m.place(i, f.word(lu + kElementLists + nl + j) - 1)] = *x++;
    }
    first += k;
  }
  double largest = 0.0, worst = first == pivots ? 0.0 : 1.0;
  for (const double value : m.a) largest = std::max(largest, std::fabs(value));
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < n; ++i) {
      double sum = 0.0, size = 1e-300;
      for (int k = 0; k < pivots; ++k) {
        sum += l[m.place(i, k)] * u[m.place(k, j)];
        size += std::fabs(l[m.place(i, k)] * u[m.place(k, j)]);
      }
      const double a =
          m.a[m.place(f.rows[static_cast<std::size_t>(i)] - 1, f.columns[static_cast<std::size_t>(j)] - 1)];
      size += i >= pivots && j >= pivots ? largest : std::fabs(a);
      const double error = std::fabs(sum - a) / size;
      worst = error <= worst ? worst : error;  // NaN counts
    }
  }
  return worst;
}

constexpr int kAmple = 40000;
constexpr double kBound = 1e-12;  // n eps, and some growth where a singular rest is left

TEST(FrontalKernel, FactorsGiveTheMatrix) {
  set_frontal_checks(true);
  std::mt19937 random(38);
  for (const Settings& settings : kSettings) {
    for (int round = 0; round < 60; ++round) {
      const Matrix m = random_matrix(random);
      const Factored f(m, settings, kAmple, kAmple);
      ASSERT_TRUE(f.done) << settings.name << round;
      EXPECT_LT(error_of(m, f), kBound) << settings.name << round;
      EXPECT_EQ(f.ints_in_use, 0) << settings.name << round;
      EXPECT_EQ(f.reals_in_use, 0) << settings.name << round;
    }
  }
  set_frontal_checks(false);
}

/// Of order 8, with a diagonal and some zeros as entries.
Matrix digits(unsigned seed) {
  constexpr int kOrder = 8;
  std::mt19937 random(seed);
  Matrix m(kOrder);
  for (int j = 0; j < kOrder; ++j) {
    for (int i = 0; i < kOrder; ++i) {
      const unsigned x = static_cast<unsigned>(random());
      if (x % 100 < 28 || i == j) m.set(i, j, x / 128 % 12 == 0 ? 0.0 : 1.0 + x / 2048 % 99);
    }
  }
  return m;
}

std::string text_of(const std::string& name, const int* numbers, Index count) {
  std::string text = name;
  for (Index i = 0; i < count; ++i) text += " " + std::to_string(numbers[i]);
  return text;
}

/// Pivot order; of each element its pivots, front (rows x columns) and lists; pivots found and RINFO(2..6).
std::string description(const Factored& f) {
  const Index n = static_cast<Index>(f.rows.size());
  std::string text = text_of("rows", f.rows.data(), n) + text_of(", columns", f.columns.data(), n);
  const Index pointers = f.header + kBlockPointers, elements = f.word(f.header + kBlockElements);
  for (Index e = 0; e < elements; ++e) {
    const int* words = f.ints.data() + pointers + elements + f.word(pointers + e) - 1;
    const int* u = words + kElementLists + words[kElementL];
    text += "; " + std::to_string(words[kElementPivots]) + " of " + std::to_string(words[kFrontRows]) + "x" +
            std::to_string(words[kFrontColumns]) + text_of(", L", words + kElementLists, words[kElementL]) +
            text_of(", U", u, words[kElementU]) +
            text_of(", sons", u + words[kElementU], words[kElementChildren]);
  }
  text += "; pivots " + std::to_string(f.info[kPivots - 1]) + ", flops";
  for (int k = kAssemblyFlops; k <= kLevel3Flops; ++k) {
    text += " " + std::to_string(std::lround(f.rinfo[static_cast<std::size_t>(k - 1)]));
  }
  return text;
}

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
       "rows 4 8 2 7 5 1 6 3, columns 4 8 7 5 2 1 6 3; 1 of 1x4, L, U 8 2 3, sons; "
       "1 of 2x1, L 5, U, sons; 6 of 6x6, L, U, sons; pivots 8, flops 23 114 8 86 0"},
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
    const Factored f(digits(row.seed), kSettings[row.settings], kAmple, kAmple);
    ASSERT_TRUE(f.done) << row.seed;
    EXPECT_EQ(description(f), row.expected) << row.seed;
  }
}

/// Stamps that come to the end of the integers begin anew, and nothing else changes.
TEST(FrontalKernel, StampsBeginAnew) {
  std::mt19937 random(11);
  for (const Settings& settings : kSettings) {
    for (int round = 0; round < 40; ++round) {
      const Matrix m = random_matrix(random);
      const Factored usual(m, settings, kAmple, kAmple);
      const Factored late(m, settings, kAmple, kAmple, INT_MAX - m.n - 1 - round);
      ASSERT_TRUE(late.done) << settings.name << round;
      EXPECT_EQ(description(late), description(usual)) << settings.name << round;
      EXPECT_LT(error_of(m, late), kBound) << settings.name << round;
    }
  }
}

TEST(FrontalKernel, OldMembersOfTheFrontMeetNewOnes) {
  const Matrix entry_of_an_old_column = by_rows(3, {5, 2, 4, 3, 5, 2, 0, 3, 7});
  const Matrix element_of_an_old_row = by_rows(6, {3, 1, 8, 0, 0, 9, 0, 8, 0, 2, 1, 0, 8, 0, 4, 3, 1, 8,
                                                   6, 8, 0, 1, 1, 0, 0, 8, 7, 0, 3, 1, 8, 9, 0, 0, 9, 5});
  for (const Matrix& m : {entry_of_an_old_column, element_of_an_old_row}) {
    const Factored f(m, kSettings[0], kAmple, kAmple);
    ASSERT_TRUE(f.done);
    EXPECT_EQ(f.info[kPivots - 1], m.n);
    EXPECT_LT(error_of(m, f), kBound);
  }
}

TEST(FrontalKernel, ShortArraysCollectGarbageOrTellTheNeed) {
  std::mt19937 random(7);
  int collections_of_ints = 0, collections_of_reals = 0;
  for (const Settings& settings : kSettings) {
    for (int round = 0; round < 12; ++round) {
      const Matrix m = random_matrix(random);
      const Factored ample(m, settings, kAmple, kAmple);
      int lindex = 1, lvalue = 1;
      for (;;) {
        const Factored f(m, settings, lindex, lvalue);
        if (f.done) {
          EXPECT_EQ(f.rows, ample.rows) << settings.name << round;
          EXPECT_EQ(f.columns, ample.columns) << settings.name << round;
          EXPECT_LT(error_of(m, f), kBound) << settings.name << round;
          collections_of_ints += f.info[kIndexCollections - 1];
          collections_of_reals += f.info[kValueCollections - 1];
          break;
        }
        const int index_needed = f.info[kIndexNeeded - 1], value_needed = f.info[kValueNeeded - 1];
        ASSERT_TRUE(index_needed > lindex || value_needed > lvalue) << settings.name << round;
        lindex = std::max(lindex, index_needed);
        lvalue = std::max(lvalue, value_needed);
      }
    }
  }
  EXPECT_GT(collections_of_ints, 0);
  EXPECT_GT(collections_of_reals, 0);
}

TEST(FrontalKernel, RankAndEmptyBlock) {
  struct Row {
    const char* name;
    Matrix m;
    int rank;
  };
  const Row rows[] = {{"zero", by_rows(2, {0, 0, 0, 0}), 0},
                      {"empty column", by_rows(3, {1, 0, 2, 3, 0, 5, 7, 0, 1}), 2},
                      {"reciprocal not finite", by_rows(2, {4e-310, 1e-310, 2e-310, 3e-310}), 2},
                      {"equal rows", by_rows(3, {1, 2, 4, 1, 2, 4, 0, 1, 1}), 2},
                      {"order 1", by_rows(1, {4}), 1}};
  for (const Row& row : rows) {
    const Factored f(row.m, kSettings[0], kAmple, kAmple);
    ASSERT_TRUE(f.done) << row.name;
    EXPECT_EQ(f.info[kPivots - 1], row.rank) << row.name;
    EXPECT_LT(error_of(row.m, f), kBound) << row.name;
    EXPECT_LT(f.first_real, static_cast<Index>(f.reals.size())) << row.name;  // at least one real
  }
}

}  // namespace
}  // namespace ma38
}  // namespace corvidnum
