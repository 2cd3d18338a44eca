// The frontal kernel on one block: P A Q = L U from the words and reals that it stores, and nothing is left
// in the accounts of the store.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "sparse/ma38/frontal.h"

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

/// A factorisation in arrays of given lengths.
struct Factored {
  bool done;
  std::vector<int> ints, rows, columns, info = std::vector<int>(40);
  std::vector<double> reals, rinfo = std::vector<double>(20);
  Index header = 0, first_real = 0;
  Wide ints_in_use = 0, reals_in_use = 0;

  Factored(const Matrix& m, const Settings& s, int lindex, int lvalue) {
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
    done = ma38_block_setup(block, space, controls, totals, above, Results(info.data(), rinfo.data()));
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
