#pragma once

// The routines of the multifrontal solver with all that they need; every array has exactly the documented
// length, so that a sanitizer sees the ends. What a factorisation leaves is held against the matrix.

#include <gtest/gtest.h>

#include <climits>

#include "sparse/ma38/front/frontal.h"
#include "sparse/ma38/ma38_routines.h"
#include "tests/support/ma38_factors.h"

namespace reference {

/// Builds that check look at the kernel's store after each of its steps.
inline const bool kStoreIsChecked = (corvidnum::ma38::set_frontal_checks(true), true);

/// Ways to have a matrix factorised.
struct FactorSettings {
  const char* name;
  int blocks, preserved, transposed, d1, d2, prefer_diagonal, width, block_size;
  double growth, tolerance;
};

/// The ways that are tried. The first kFew differ most from each other.
constexpr int kFew = 7;
inline constexpr FactorSettings kSettings[] = {
    // name, blocks, preserved, transposed, d1, d2, diagonal, width, block size, growth, tolerance
    {"defaults", 1, 0, 0, 64, 1, 0, 4, 16, 2.0, 0.1},
    {"preserved", 1, 1, 0, 64, 1, 0, 4, 16, 2.0, 0.1},
    {"one block", 0, 0, 0, 64, 1, 0, 4, 3, 3.0, 0.1},
    {"one block, preserved, transposed", 0, 1, 1, 64, 1, 0, 4, 16, 2.0, 0.1},
    {"transposed", 1, 0, -1, 64, 1, 0, 1, 0, 2.0, 0.1},
    {"every column dense, preserved", 1, 1, 0, 0, 0, 0, 4, 4, 4.0, 0.1},
    {"diagonal", 1, 0, 0, 5, 0, 1, 2, 64, 1.0, 0.01},
    {"one block, diagonal, preserved", 0, 1, 0, 64, 1, 1, 8, 2, 4.0, 0.1},
    {"every column dense", 1, 0, 0, 0, 0, 0, 4, 4, 2.0, 0.1},
    {"columns of 4 dense", 0, 0, 0, 3, 0, 0, 4, 16, 1.5, 0.1},
    {"no growth", 0, 0, 0, 64, 1, 0, 4, 16, 1.0, 0.1},
    {"much growth", 1, 1, 0, 5, 1, 0, 4, 64, 4.0, 0.1},
    {"largest pivots", 1, 0, 0, 64, 1, 0, 4, 2, 2.0, 1.0},
    {"any pivots", 0, 0, 0, 4, 0, 0, 8, 5, 3.0, 0.0},
    {"controls out of range", 7, 3, 5, -9, -9, -1, -4, -16, -1.0, 9.0},
};
inline std::vector<FactorSettings> few_settings() { return {kSettings, kSettings + kFew}; }

struct MatrixCase {
  const char* name;
  Coordinates matrix;
};
/// With entries that dominate their rows and columns, so that pivots stay away from zero if others change.
inline Coordinates dominated(Coordinates a, Random& random) {
  for (double& value : a.values) value = uniform(random);
  for (int k = 1; k <= a.n; ++k) a.add(k, k, 3.0 * a.n);
  return shuffled(a, random);
}
/// A block with much fill, and rows above it that are full over it.
inline Coordinates coupled(int order, int rows, Random& random) {
  const Coordinates block = random_matrix(order, order, 0.09, random);
  Coordinates a{order + rows, order + rows, {}, {}, {}};
  for (int k = 0; k < block.entries(); ++k)
    a.add(rows + block.rows[k], rows + block.columns[k], block.values[k]);
  for (int k = 1; k <= order; ++k) {
    a.add(rows + k, rows + k % order + 1, 1.0);
    for (int i = 1; i <= rows; ++i) a.add(i, rows + k, 1.0);
  }
  return a;
}
/// Nonsingular, most of them for all values close by.
inline std::vector<MatrixCase> regular_cases(Random& random) {
  return {
      {"order 1", Coordinates{1, 1, {1}, {1}, {3.0}}},
      {"diagonal", block_triangular_matrix(Ints(9, 1), random)},
      {"singletons", dominated(banded_matrix(12, 0, 4, random), random)},
      {"dense", dominated(random_matrix(30, 30, 1.1, random), random)},
      {"random", dominated(random_matrix(60, 60, 0.05, random), random)},
      {"banded", dominated(banded_matrix(80, 2, 3, random), random)},
      {"blocks", dominated(block_triangular_matrix({1, 5, 1, 1, 12, 2, 1, 7, 20, 1}, random), random)},
      {"coupled", dominated(coupled(50, 30, random), random)},
      {"column", column_matrix(12, 4, random)},
      {"flowsheet", shuffled(flowsheet_matrix(9, 6, random), random)},
      {"faulty entries",
       with_faulty_entries(dominated(random_matrix(40, 40, 0.1, random), random), 9, 7, random)},
  };
}

/// The same pattern with other values, of which about this share is zero.
inline Coordinates with_values(Coordinates a, double zeros, Random& random) {
  for (double& value : a.values) value = 0.5 * (uniform(random) + 1.0) < zeros ? 0.0 : uniform(random);
  return a;
}
/// Two full diagonal blocks that share a full border: elements of `order` pivots with lists of `border`
/// members.
inline Coordinates bordered_blocks(int order, int border, Random& random) {
  const int n = 2 * order + border;
  const auto part = [=](int k) { return k <= order ? 1 : k <= 2 * order ? 2 : 3; };
  Coordinates a{n, n, {}, {}, {}};
  for (int j = 1; j <= n; ++j) {
    for (int i = 1; i <= n; ++i)
      if (part(i) + part(j) != 3) a.add(i, j, uniform(random) + (i == j ? 4.0 : 0.0));
  }
  return a;
}

struct Factoring {
  Coordinates matrix;
  int job, transposed, lvalue = 0, lindex = 0;
  Vector value, cntl = Vector(MA38_CNTL_LENGTH), rinfo = Vector(MA38_RINFO_LENGTH, 77.0);
  Ints index, keep = Ints(MA38_KEEP_LENGTH), icntl = Ints(MA38_ICNTL_LENGTH);
  Ints info = Ints(MA38_INFO_LENGTH, 77);

  Factoring(const Coordinates& given, const FactorSettings& settings)
      : matrix(given), job(settings.preserved), transposed(settings.transposed) {
    ma38id_(keep.data(), cntl.data(), icntl.data());
    set(MA38_KEEP_DENSE1, settings.d1);
    set(MA38_KEEP_DENSE2, settings.d2);
    ma38_set_icntl(icntl.data(), MA38_ICNTL_USE_BLOCKS, settings.blocks);
    ma38_set_icntl(icntl.data(), MA38_ICNTL_SEARCH_WIDTH, settings.width);
    ma38_set_icntl(icntl.data(), MA38_ICNTL_PREFER_DIAGONAL, settings.prefer_diagonal);
    ma38_set_icntl(icntl.data(), MA38_ICNTL_BLOCK_SIZE, settings.block_size);
    ma38_set_cntl(cntl.data(), MA38_CNTL_THRESHOLD, settings.tolerance);
    ma38_set_cntl(cntl.data(), MA38_CNTL_GROWTH, settings.growth);
  }
  int INFO(int number) const { return info[number - 1]; }
  int KEEP(int number) const { return keep[number - 1]; }
  void set(MA38_Keep position, int to) { ma38_set_keep(keep.data(), position, to); }
  int shortest_value() const { return int(ma38_least_value_length(matrix.entries())); }
  int shortest_index() const { return int(ma38_least_index_length(matrix.n, matrix.entries())); }

  /// @param values, indices lengths; 0: more than enough
  int factor(int values = 0, int indices = 0) {
    provide(values, indices);
    const int ne = matrix.entries();
    ma38ad_(&matrix.n, &ne, &job, &transposed, &lvalue, &lindex, value.data(), index.data(), keep.data(),
            cntl.data(), icntl.data(), info.data(), rinfo.data());
    return INFO(MA38_INFO_STATUS);
  }
  /// Factorises what `matrix` is by now, with the pattern of the last factorisation.
  int refactor(int values = 0, int indices = 0) { return refactor(pattern(), values, indices); }
  int refactor(const Ints& kept, int values = 0, int indices = 0) {
    provide(values, indices);
    std::copy(kept.begin(), kept.end(), index.end() - static_cast<std::ptrdiff_t>(kept.size()));
    set(MA38_KEEP_PATTERN_BEGIN, lindex + 1 - static_cast<int>(kept.size()));
    set(MA38_KEEP_INDEX_END, lindex);
    return refactor_in_place();
  }
  /// With the arrays and KEEP as they stand.
  int refactor_in_place() {
    const int ne = matrix.entries();
    ma38bd_(&matrix.n, &ne, &job, &transposed, &lvalue, &lindex, value.data(), index.data(), keep.data(),
            cntl.data(), icntl.data(), info.data(), rinfo.data());
    return INFO(MA38_INFO_STATUS);
  }
  /// What a refactorisation needs of the factors.
  Ints pattern() const {
    return Ints(index.begin() + KEEP(MA38_KEEP_PATTERN_BEGIN) - 1, index.begin() + KEEP(MA38_KEEP_INDEX_END));
  }
  /// Arrays of nothing but the factors.
  void shrink() {
    index = Ints(index.begin() + KEEP(MA38_KEEP_INDEX_BEGIN) - 1, index.begin() + KEEP(MA38_KEEP_INDEX_END));
    value =
        Vector(value.begin() + KEEP(MA38_KEEP_VALUE_BEGIN) - 1, value.begin() + KEEP(MA38_KEEP_VALUE_END));
    lindex = int(index.size()), lvalue = int(value.size());
    set(MA38_KEEP_PATTERN_BEGIN, KEEP(MA38_KEEP_PATTERN_BEGIN) - (KEEP(MA38_KEEP_INDEX_BEGIN) - 1));
    set(MA38_KEEP_VALUE_BEGIN, 1), set(MA38_KEEP_VALUE_END, lvalue);
    set(MA38_KEEP_INDEX_BEGIN, 1), set(MA38_KEEP_INDEX_END, lindex);
  }

 private:
  void provide(int values, int indices) {
    const int n = matrix.n, ne = matrix.entries();
    lvalue = values > 0 ? values : shortest_value() + 8 * n * n + 10 * ne + 1000;
    lindex = indices > 0 ? indices : shortest_index() + 12 * n * n + 40 * n + 20 * ne + 1000;
    value = Vector(lvalue, 77.0), index = Ints(lindex, 77);
    for (int k = 0; k < ne; ++k) {
      if (k < lvalue) value[k] = matrix.values[k];
      if (k < lindex) index[k] = matrix.rows[k];
      if (ne + k < lindex) index[ne + k] = matrix.columns[k];
    }
  }
};

/// The number of the blocks, whose orders it writes unless there is no place for them; or an error.
inline int blocks_of(const Factoring& f, Ints* orders) {
  return ma38blocks_(&f.matrix.n, &f.lindex, f.index.data(), f.keep.data(),
                     orders ? orders->data() : nullptr);
}

/// What the matrix is, counted without the library; transposed if that is what is factorised.
struct Truth {
  std::set<std::pair<int, int>> places;
  Dense values, sizes;  // sums, and sums of magnitudes
  int valid = 0;

  explicit Truth(const Factoring& f) : values(f.matrix.n, f.matrix.n), sizes(values) {
    for (std::size_t k = 0; k < f.matrix.values.size(); ++k) {
      if (!f.matrix.counts(k)) continue;
      int row = f.matrix.rows[k], column = f.matrix.columns[k];
      if (f.transposed) std::swap(row, column);
      ++valid;
      places.insert({row, column});
      values(row - 1, column - 1) += f.matrix.values[k];
      sizes(row - 1, column - 1) += std::fabs(f.matrix.values[k]);
    }
  }
};

/// P A Q = L U and off-diagonal part, entry by entry to rounding. A singleton of value 0 has pivot 1.
inline void expect_product(const StoredFactors& factors, const Truth& truth) {
  const int n = factors.n;
  Dense magnitude(n, n);
  Dense product = factors.product(magnitude);
  for (const LuBlock& block : factors.blocks) {
    const int k = block.first;
    if (!block.singleton || truth.values(factors.rperm[k] - 1, factors.cperm[k] - 1) != 0.0) continue;
    EXPECT_EQ(block.pivot, 1.0) << "in place of a singleton's zero";
    product(k, k) = 0.0;
  }
  // A column found empty may keep other rows' rounding past the pivots: there the whole matrix is the
  // measure.
  std::vector<bool> past_pivots(n, false);
  for (const LuBlock& block : factors.blocks) {
    if (!block.singleton)
      std::fill_n(past_pivots.begin() + block.first + block.pivots, block.order - block.pivots, true);
  }
  const double largest = *std::max_element(magnitude.values.begin(), magnitude.values.end());
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < n; ++i) {
      const int row = factors.rperm[i] - 1, column = factors.cperm[j] - 1;
      const double scale = past_pivots[i] && past_pivots[j] ? largest : magnitude(i, j);
      const double bound = 4.0 * (n + 10) * kEpsilon * (scale + truth.sizes(row, column));
      ASSERT_LE(std::fabs(product(i, j) - truth.values(row, column)), bound)
          << "at positions " << i + 1 << ", " << j + 1 << ", row " << row + 1 << ", column " << column + 1;
    }
  }
}

/// The kept copy of the matrix is the matrix, each place once.
inline void expect_copy(const StoredFactors& factors, const Truth& truth) {
  ASSERT_EQ(factors.copy.values.size(), truth.places.size());
  const Dense copied = dense(factors.copy);
  std::set<std::pair<int, int>> places;
  for (std::size_t k = 0; k < factors.copy.values.size(); ++k)
    places.insert({factors.copy.rows[k], factors.copy.columns[k]});
  EXPECT_EQ(places, truth.places);
  for (std::size_t k = 0; k < copied.values.size(); ++k)
    ASSERT_LE(std::fabs(copied.values[k] - truth.values.values[k]), 8 * kEpsilon * truth.sizes.values[k]);
}

/// The length of index that a refactorisation needs.
inline int refactoring_words(const Factoring& f, const StoredFactors& factors) {
  const int n = factors.n, ne = f.matrix.entries(), nz = f.INFO(MA38_INFO_ENTRIES);
  int longest_l = 0, longest_u = 0, elements = 0;
  for (const LuBlock& block : factors.blocks) {
    elements += static_cast<int>(block.elements.size());
    for (const LuElement& e : block.elements) {
      longest_l = std::max(longest_l, static_cast<int>(e.l.size()));
      longest_u = std::max(longest_u, static_cast<int>(e.u.size()));
    }
  }
  const int replay =
      f.job == 1 ? longest_u + 3 * longest_l + 2 * nz + 4 * (n + elements) + 10
                 : std::max(3 * n + 2 * nz + 2, nz + 3 * (n + longest_l + 3) + 4 * elements + longest_u);
  return std::max({3 * ne + 2 * n + 1, ne + 3 * n + 2, replay}) + f.lindex - f.KEEP(MA38_KEEP_PATTERN_BEGIN) +
         1;
}

/// What INFO and RINFO must say of these factors.
inline void expect_figures(const Factoring& f, const StoredFactors& factors, const Truth& truth) {
  const int n = factors.n, entries = static_cast<int>(truth.places.size());
  Ints row_block(n + 1), column_block(n + 1);
  int l = 0, u = 0, fronts = 0, pivots = 0, singletons = 0, diagonal = 0, off_diagonal = 0;
  for (std::size_t b = 0; b < factors.blocks.size(); ++b) {
    const LuBlock& block = factors.blocks[b];
    for (int k = block.first; k < block.first + block.order; ++k)
      row_block[factors.rperm[k]] = column_block[factors.cperm[k]] = static_cast<int>(b);
    singletons += block.singleton;
    pivots += block.pivots;
    if (block.singleton)
      pivots += truth.values(factors.rperm[block.first] - 1, factors.cperm[block.first] - 1) != 0.0;
    for (const LuElement& e : block.elements) {
      l += e.pivots * (e.pivots - 1) / 2 + e.pivots * static_cast<int>(e.u.size());  // crossed by intent
      u += e.pivots * (e.pivots - 1) / 2 + e.pivots * static_cast<int>(e.l.size());
      fronts += e.front_rows > 0;
    }
  }
  for (const auto& place : truth.places) {
    EXPECT_LE(row_block[place.first], column_block[place.second]) << "an entry below the blocks";
    off_diagonal += row_block[place.first] < column_block[place.second];
  }
  for (int k = 0; k < n; ++k) diagonal += factors.rperm[k] == factors.cperm[k];
  const int invalid = f.matrix.entries() - truth.valid, duplicates = truth.valid - entries;
  const struct {
    int number, expected;
  } figures[] = {
      {MA38_INFO_STATUS, (invalid > 0 ? MA38_WARNING_ENTRIES : 0) +
                             (duplicates > 0 ? MA38_WARNING_DUPLICATES : 0) +
                             (pivots < n ? MA38_WARNING_SINGULAR : 0)},
      {MA38_INFO_DUPLICATES, duplicates},
      {MA38_INFO_INVALID, invalid},
      {MA38_INFO_NOT_IN_PATTERN, 0},
      {MA38_INFO_ENTRIES, entries},
      {MA38_INFO_DIAGONAL_ENTRIES, entries - off_diagonal},
      {MA38_INFO_OFF_DIAGONAL_ENTRIES, off_diagonal},
      {MA38_INFO_SINGLETONS, singletons},
      {MA38_INFO_BLOCKS, static_cast<int>(factors.blocks.size())},
      {MA38_INFO_ENTRIES_IN_L, l},
      {MA38_INFO_ENTRIES_IN_U, u},
      {MA38_INFO_FACTOR_ENTRIES, l + u + n + off_diagonal},
      {MA38_INFO_FRONTS, fronts},
      {MA38_INFO_DIAGONAL_PIVOTS, diagonal},
      {MA38_INFO_PIVOTS, pivots},
      {MA38_INFO_INDEX_FOR_REFACTOR, refactoring_words(f, factors)},
      {MA38_INFO_REFINEMENTS, 0},
      {MA38_INFO_LENGTH, 0},
  };
  for (const auto& figure : figures)
    EXPECT_EQ(f.INFO(figure.number), figure.expected) << "INFO " << figure.number;
  EXPECT_EQ(factors.nzoff, off_diagonal);
  EXPECT_LE(f.INFO(MA38_INFO_INDEX_USED), f.lindex);
  EXPECT_LE(f.INFO(MA38_INFO_VALUE_USED), f.lvalue);
  EXPECT_GE(f.INFO(MA38_INFO_INDEX_NEEDED), f.lindex - f.KEEP(MA38_KEEP_INDEX_BEGIN) + 1);
  EXPECT_GE(f.INFO(MA38_INFO_VALUE_NEEDED), f.lvalue - f.KEEP(MA38_KEEP_VALUE_BEGIN) + 1);
  const auto flops_of = [&](MA38_Rinfo position) { return ma38_rinfo(f.rinfo.data(), position); };
  EXPECT_EQ(flops_of(MA38_RINFO_BLAS_FLOPS), flops_of(MA38_RINFO_LEVEL1_FLOPS) +
                                                 flops_of(MA38_RINFO_LEVEL2_FLOPS) +
                                                 flops_of(MA38_RINFO_LEVEL3_FLOPS));
  for (const double flops : f.rinfo) EXPECT_GE(flops, 0.0);
}

/// A shortage has its code, asks for more than there was, and leaves no factors.
inline void expect_shortage(const Factoring& f) {
  const int status = f.INFO(MA38_INFO_STATUS);
  ASSERT_TRUE(-5 <= status && status <= -3) << "status " << status;
  ASSERT_TRUE(status == -4 || f.INFO(MA38_INFO_INDEX_NEEDED) > f.lindex);
  ASSERT_TRUE(status == -3 || f.INFO(MA38_INFO_VALUE_NEEDED) > f.lvalue);
  for (int k = 1; k <= 5; ++k) EXPECT_EQ(f.KEEP(k), 0);
  EXPECT_LE(f.INFO(MA38_INFO_INDEX_USED), f.lindex);
  EXPECT_LE(f.INFO(MA38_INFO_VALUE_USED), f.lvalue);
}

/// Calls run(values, indices) in these lengths, then in what is asked for, until it is enough. @return how
/// often it was not
template <class Run>
int run_as_asked(const Factoring& f, int values, int indices, Run run) {
  for (int tries = 0; tries < 1000; ++tries) {
    if (run(values, indices) >= 0) return tries;
    expect_shortage(f);
    if (testing::Test::HasFatalFailure()) return tries;
    if (f.INFO(MA38_INFO_STATUS) != -4) indices = f.INFO(MA38_INFO_INDEX_NEEDED);
    if (f.INFO(MA38_INFO_STATUS) != -3) values = f.INFO(MA38_INFO_VALUE_NEEDED);
  }
  ADD_FAILURE() << "no end of shortages";
  return 1000;
}

inline Vector factor_reals(const Factoring& f) {
  return Vector(f.value.begin() + f.KEEP(1) - 1, f.value.begin() + f.KEEP(2));
}
/// To the rounding that places in memory can make in a routine.
inline void expect_close(const Vector& got, const Vector& expected) {
  ASSERT_EQ(got.size(), expected.size());
  for (std::size_t k = 0; k < got.size(); ++k)
    ASSERT_NEAR(got[k], expected[k], 1e-10 * (1.0 + std::fabs(expected[k]))) << "real " << k + 1;
}

/// All that a successful factorisation must have left.
inline void expect_factors(const Factoring& f) {
  ASSERT_GE(f.INFO(MA38_INFO_STATUS), 0);
  const StoredFactors factors(f.keep, f.index, f.value);
  ASSERT_EQ(factors.fault, "");
  const Truth truth(f);
  EXPECT_EQ(f.KEEP(MA38_KEEP_VALUE_END), f.lvalue);
  EXPECT_EQ(f.KEEP(MA38_KEEP_INDEX_END), f.lindex);
  EXPECT_EQ(factors.n, f.matrix.n);
  EXPECT_EQ(factors.ne, f.matrix.entries());
  EXPECT_EQ(factors.nz, static_cast<int>(truth.places.size()));
  EXPECT_EQ(factors.preserved, f.job == 1 ? 1 : 0);
  EXPECT_EQ(factors.transposed, f.transposed != 0 ? 1 : 0);
  Ints orders(factors.n), told(factors.n);
  for (std::size_t b = 0; b < factors.blocks.size(); ++b) orders[b] = factors.blocks[b].order;
  EXPECT_EQ(blocks_of(f, &told), factors.nblks);
  EXPECT_EQ(told, orders);
  if (factors.preserved) expect_copy(factors, truth);
  expect_product(factors, truth);
  expect_figures(f, factors, truth);
}

/// What takes the place of a word that is damaged: the ends of the integers and of the ranges of words in
/// factors of order n, its neighbours, and itself with the other sign.
inline Ints damages(int word, int n) {
  const auto wrapped = [word](unsigned by) { return static_cast<int>(static_cast<unsigned>(word) + by); };
  return {INT_MIN, -1, 0, 1, n, n + 1, 2 * n + 1, wrapped(~0U), wrapped(1), word == INT_MIN ? 0 : -word,
          INT_MAX};
}
/// Calls visit(k) with each word k in turn damaged in each way.
template <class Visit>
void for_each_damage(Ints& words, int n, const Visit& visit) {
  for (std::size_t k = 0; k < words.size(); ++k) {
    const int kept = words[k];
    for (const int wrong : damages(kept, n)) {
      SCOPED_TRACE(testing::Message() << "word " << k << " is " << wrong << ", not " << kept);
      words[k] = wrong;
      visit(k);
      if (testing::Test::HasFailure()) return;
    }
    words[k] = kept;
  }
}
/// Small matrices in one block and in several, with elements that have children.
inline std::vector<Coordinates> damaged_matrices(Random& random) {
  return {dominated(random_matrix(9, 9, 0.25, random), random),
          dominated(block_triangular_matrix({1, 4, 1, 6}, random), random),
          dominated(banded_matrix(14, 1, 2, random), random)};
}

}  // namespace reference
