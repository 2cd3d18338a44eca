// Factorisations that repeat the eliminations of an earlier one.

#include "tests/sparse/ma38/routines.h"

namespace reference {
namespace {

constexpr int kFigures[] = {2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 16, 17, 22, 23};

/// Pivots in plenty, with rows that leave one over and columns that leave many.
Coordinates wide(int pivots, int columns, Random& random) {
  Coordinates a{pivots + columns, pivots + columns, {}, {}, {}};
  for (int i = 1; i <= a.n; ++i) {
    const int last = i <= pivots ? a.n : i == pivots + 1 ? pivots : 0;
    for (int j = 1; j <= last; ++j) a.add(i, j, 1.0);
    if (i > pivots) a.add(i, i, 1.0);
  }
  return dominated(a, random);
}
/// Where the entries of a matrix fall in factors that stand, from their lists alone.
struct Places {
  enum Kind { kInBlock, kAbove, kBelow, kOutside, kDead };
  Ints row_position, column_position, block_of;

  explicit Places(const StoredFactors& factors)
      : row_position(factors.n + 1), column_position(factors.n + 1), block_of(factors.n), factors_(factors) {
    for (int k = 0; k < factors.n; ++k)
      row_position[factors.rperm[k]] = column_position[factors.cperm[k]] = k;
    for (std::size_t b = 0; b < factors.blocks.size(); ++b)
      std::fill_n(block_of.begin() + factors.blocks[b].first, factors.blocks[b].order, int(b));
  }
  Kind of(int row, int column) const {
    const int i = row_position[row], j = column_position[column];
    if (block_of[i] != block_of[j]) return block_of[i] < block_of[j] ? kAbove : kBelow;
    const LuBlock& block = factors_.blocks[block_of[i]];
    return block.singleton ? kInBlock : in_block(block, i - block.first + 1, j - block.first + 1);
  }

 private:
  static Kind in_block(const LuBlock& block, int i, int j) {
    const int pivot = std::min(i, j), other = std::max(i, j);
    if (pivot > block.pivots) return kDead;
    for (const LuElement& e : block.elements) {
      if (pivot > e.first + e.pivots) continue;
      const Ints& list = i >= j ? e.l : e.u;
      const bool inside = other <= e.first + e.pivots || std::count(list.begin(), list.end(), other) > 0;
      return inside ? kInBlock : kOutside;
    }
    return kDead;
  }
  const StoredFactors& factors_;
};

/// The matrix as the pattern lets it through, and what it does not.
struct Sifted {
  Coordinates rest;
  int dropped = 0, below = 0;

  Sifted(const Factoring& f, const StoredFactors& factors) : rest{f.matrix.m, f.matrix.n, {}, {}, {}} {
    const Places places(factors);
    std::set<std::pair<int, int>> lost;
    for (std::size_t k = 0; k < f.matrix.values.size(); ++k) {
      if (!f.matrix.counts(k)) continue;
      const int row = f.matrix.rows[k], column = f.matrix.columns[k];
      const Places::Kind kind = f.transposed ? places.of(column, row) : places.of(row, column);
      if (kind == Places::kInBlock || kind == Places::kAbove) {
        rest.add(row, column, f.matrix.values[k]);
      } else if (lost.insert({row, column}).second) {
        ++dropped;
        below += kind == Places::kBelow;
      }
    }
  }
};

/// RINFO, from the lists and the entries of the diagonal blocks.
void expect_operations(const Factoring& f, const StoredFactors& factors, const Truth& given) {
  double level1 = 0.0, level2 = 0.0, level3 = 0.0, assembly = 0.0;
  const Places places(factors);
  for (const auto& place : given.places) {
    const Places::Kind kind = places.of(place.first, place.second);
    const int block = places.block_of[places.row_position[place.first]];
    assembly += kind != Places::kAbove && kind != Places::kBelow && !factors.blocks[block].singleton;
  }
  for (const LuBlock& block : factors.blocks) {
    for (std::size_t e = 0; e < block.elements.size(); ++e) {
      const LuElement& element = block.elements[e];
      const double l = double(element.l.size()), u = double(element.u.size());
      for (int j = 1, done = 0; j <= element.pivots; ++j) {
        const double m = j - done, left = element.pivots - j, rows = l + left, columns = u + left;
        level1 += rows;
        level2 += (m > 2 ? (m - 2) * (m - 1) : 0.0) + 2 * (m - 1) * (rows + 1);
        if (m < f.icntl[6] && left > 0) continue;
        level3 += (m - 1) * m * columns + 2 * rows * m * columns;
        done = j;
      }
      if (e + 1 == block.elements.size() || block.elements[e + 1].front_rows > 0) assembly += l * u;
    }
  }
  const double expected[] = {level1 + level2 + level3, assembly, 0.0, level1, level2, level3};
  for (int k = 0; k < 6; ++k) EXPECT_EQ(f.rinfo[k], expected[k]) << "RINFO " << k + 1;
}

/// All that a refactorisation must have left, of whatever matrix.
void expect_refactored(const Factoring& f) {
  ASSERT_GE(f.INFO(1), 0);
  const StoredFactors factors(f.keep, f.index, f.value);
  ASSERT_EQ(factors.fault, "");
  const Truth given(f);
  const Sifted sifted(f, factors);
  Factoring through = f;
  through.matrix = sifted.rest;
  const Truth truth(through);
  expect_product(factors, truth);
  if (factors.preserved) expect_copy(factors, given);
  EXPECT_EQ(f.INFO(4), sifted.dropped);
  int pivots = 0;
  for (const LuBlock& block : factors.blocks) {
    const int row = factors.rperm[block.first] - 1, column = factors.cperm[block.first] - 1;
    pivots += block.singleton ? truth.values(row, column) != 0.0 : block.pivots;
  }
  EXPECT_EQ(f.INFO(17), pivots);
  EXPECT_EQ(f.INFO(1), (sifted.dropped > 0 || f.INFO(3) > 0 ? MA38_WARNING_ENTRIES : 0) +
                           (f.INFO(2) > 0 ? MA38_WARNING_DUPLICATES : 0) +
                           (pivots < f.matrix.n ? MA38_WARNING_SINGULAR : 0));
  EXPECT_EQ(f.INFO(5), int(given.places.size()));
  EXPECT_EQ(f.INFO(6), f.INFO(5) - f.INFO(7) - sifted.below);
  EXPECT_EQ(f.INFO(7), factors.nzoff);
  EXPECT_EQ(f.KEEP(2), f.lvalue);
  EXPECT_EQ(f.KEEP(5), f.lindex);
  EXPECT_EQ(f.INFO(18), f.INFO(19)) << "there is no garbage in index";
  EXPECT_GE(f.INFO(20), f.INFO(21));
  EXPECT_LE(f.INFO(19), f.INFO(22));
  EXPECT_LE(f.INFO(21), f.INFO(23));
  expect_operations(f, factors, given);
}

/// What a refactorisation says that it needs is enough, and a word less is not.
void expect_exact_needs(const Factoring& f, const Ints& pattern) {
  Factoring shortest = f;
  EXPECT_EQ(shortest.refactor(pattern, f.INFO(21), f.INFO(19)), f.INFO(1));
  expect_close(factor_reals(shortest), factor_reals(f));
  EXPECT_EQ(shortest.refactor(pattern, f.INFO(21), f.INFO(19) - 1), -3);
  EXPECT_EQ(shortest.refactor(pattern, f.INFO(21) - 1, f.INFO(19)), -4);
}

void expect_failure(const Factoring& f, int status) {
  EXPECT_EQ(f.INFO(1), status);
  for (int k = 1; k <= 5; ++k) EXPECT_EQ(f.KEEP(k), 0) << "KEEP " << k;
}

TEST(Ma38Refactor, TheSameMatrixHasTheSameFactors) {
  Random random(391);
  std::vector<MatrixCase> all = regular_cases(random);
  all.push_back({"large", dominated(random_matrix(150, 150, 1.1, random), random)});
  all.push_back({"wide", wide(60, 40, random)});
  for (const MatrixCase& one : all) {
    for (const FactorSettings& settings : few_settings()) {
      SCOPED_TRACE(testing::Message() << one.name << ", " << settings.name);
      Factoring first(one.matrix, settings);
      first.factor();
      expect_factors(first);
      if (HasFatalFailure()) return;
      const StoredFactors before(first.keep, first.index, first.value);
      Factoring f = first;
      EXPECT_EQ(f.refactor(), first.INFO(1));
      expect_factors(f);
      if (HasFatalFailure()) return;
      const StoredFactors after(f.keep, f.index, f.value);
      EXPECT_EQ(after.rperm, before.rperm);
      EXPECT_EQ(after.cperm, before.cperm);
      for (const int figure : kFigures) EXPECT_EQ(f.INFO(figure), first.INFO(figure)) << "INFO " << figure;
      for (std::size_t b = 0; b < before.blocks.size(); ++b) {
        const LuBlock &old = before.blocks[b], &block = after.blocks[b];
        ASSERT_EQ(block.elements.size(), old.elements.size());
        for (std::size_t e = 0; e < old.elements.size(); ++e)
          EXPECT_EQ(block.elements[e].children, old.elements[e].children);
      }
      expect_refactored(f);
      if (HasFailure()) return;
    }
  }
}

/// JOB can change from call to call, entries can go, and any that come have their place or are dropped.
TEST(Ma38Refactor, OtherMatricesFitThePatternOrAreSifted) {
  Random random(392);
  int dropped = 0, below = 0, kept_new = 0;
  for (int round = 0; round < 4; ++round) {
    for (const MatrixCase& one : regular_cases(random)) {
      for (const FactorSettings& settings : few_settings()) {
        SCOPED_TRACE(testing::Message() << one.name << ", " << settings.name << ", round " << round);
        Factoring f(one.matrix, settings);
        f.factor();
        expect_factors(f);
        for (const bool more : {false, true}) {
          f.job = number(random, 0, 1);
          Coordinates changed{f.matrix.m, f.matrix.n, {}, {}, {}};
          const Coordinates& a = one.matrix;
          for (int k = 0; k < a.entries(); ++k) {
            const bool goes = std::fabs(a.values[k]) < a.n && number(random, 0, 9) == 0 && round % 2 == 0;
            if (!goes) changed.add(a.rows[k], a.columns[k], a.values[k] * (1.0 + 0.05 * uniform(random)));
          }
          for (int k = 0; more && k < 2 * a.n; ++k)
            changed.add(number(random, 1, a.n), number(random, 1, a.n), 0.1 * uniform(random));
          f.matrix = changed;
          const Ints pattern = f.pattern();
          if (f.refactor() == -6) break;  // of matrices that nothing dominates, an entry counted
          expect_refactored(f);
          expect_exact_needs(f, pattern);
          if (HasFailure()) return;
          const StoredFactors factors(f.keep, f.index, f.value);
          const Sifted sifted(f, factors);
          dropped += sifted.dropped, below += sifted.below;
          kept_new += more && sifted.dropped < 2 * a.n;
        }
      }
    }
  }
  EXPECT_GT(dropped, below);
  EXPECT_GT(below, 0);
  EXPECT_GT(kept_new, 0);
}

TEST(Ma38Refactor, TheTransposeIsSiftedUnlessSymmetric) {
  Random random(393);
  for (FactorSettings settings : few_settings()) {
    settings.prefer_diagonal = 1, settings.blocks = 0;
    for (const int above : {2, 4}) {
      SCOPED_TRACE(testing::Message() << settings.name << ", " << above << " diagonals above");
      Coordinates a = banded_matrix(40, 2, above, random);
      for (int k = 1; k <= a.n; ++k) a.add(k, k, 99.0);
      Factoring f(a, settings);
      f.factor();
      f.transposed = f.transposed == 0;
      ASSERT_GE(f.refactor(), 0);
      expect_refactored(f);
      EXPECT_EQ(f.INFO(4) > 0, above != 2);
    }
  }
}

/// Of a singular matrix entries without a pivot are dropped, zeros too.
TEST(Ma38Refactor, DeadPartsStayDead) {
  Random random(394);
  Coordinates zeros = random_matrix(8, 8, 0.4, random);
  std::fill(zeros.values.begin(), zeros.values.end(), 0.0);
  Coordinates short_of_one = dominated(random_matrix(30, 30, 0.1, random), random);
  for (std::size_t k = 0; k < short_of_one.values.size(); ++k)
    if (short_of_one.columns[k] == 7) short_of_one.values[k] = 0.0;
  // The last block, which is replayed first, is small and leaves much undone.
  Coordinates in_last_block{52, 52, {}, {}, {}};
  const auto add_block = [&](int begin, int order, double density, double dead) {
    Coordinates block = random_matrix(order, order, density, random);
    for (int k = 1; k <= order; ++k) block.add(k, k, 9.0), block.add(k, k % order + 1, 1.0);
    for (int k = 0; k < block.entries(); ++k)
      in_last_block.add(begin + block.rows[k], begin + block.columns[k],
                        block.rows[k] > order - dead ? 0.0 : block.values[k]);
  };
  add_block(0, 40, 0.2, 0), add_block(40, 12, 0.3, 6);
  for (const Coordinates& matrix : {zeros, short_of_one, in_last_block}) {
    for (const FactorSettings& settings : few_settings()) {
      SCOPED_TRACE(testing::Message() << settings.name << ", order " << matrix.n);
      Factoring f(matrix, settings);
      f.factor();
      const int pivots = f.INFO(17), fronts = f.INFO(13), singletons = f.INFO(8);
      ASSERT_LT(pivots, matrix.n);
      const Ints pattern = f.pattern();
      f.refactor();
      expect_refactored(f);
      expect_exact_needs(f, pattern);
      EXPECT_EQ(f.INFO(17), pivots);
      EXPECT_EQ(f.INFO(13), fronts);
      EXPECT_EQ(f.INFO(8), singletons);
      if (HasFailure()) return;
    }
  }
}

/// What kept the pattern's words can go on after a failure.
TEST(Ma38Refactor, ZeroPivotsFailInFrontsOnly) {
  Random random(395);
  for (const MatrixCase& one : regular_cases(random)) {
    for (const FactorSettings& settings : few_settings()) {
      SCOPED_TRACE(testing::Message() << one.name << ", " << settings.name);
      Factoring f(one.matrix, settings);
      f.factor();
      const Ints pattern = f.pattern();
      const bool singletons = f.INFO(8) == f.matrix.n;
      for (double& value : f.matrix.values) value = 0.0;
      f.refactor();
      if (singletons) {
        EXPECT_EQ(f.INFO(1) & ~2, 4);
        EXPECT_EQ(f.INFO(17), 0);
        expect_refactored(f);
        f.matrix = Coordinates{f.matrix.n, f.matrix.n, {1}, {1}, {2.0}};
        f.refactor();
        expect_refactored(f);
      } else {
        expect_failure(f, -6);
      }
      f.matrix = one.matrix;
      ASSERT_GE(f.refactor(pattern), 0);
      expect_factors(f);
      if (HasFailure()) return;
    }
  }
}

/// Down to those with an infinite reciprocal.
TEST(Ma38Refactor, PivotsOfAnySizeGoThrough) {
  Factoring f(Coordinates{3, 3, {1, 2, 3, 1, 2, 3}, {1, 2, 3, 2, 3, 1}, {4.0, 4.0, 4.0, 1.0, 1.0, 1.0}},
              kSettings[2]);
  ASSERT_EQ(f.factor(), 0);
  const Ints pattern = f.pattern();
  for (const double scale : {1e-30, 1e-307, 2.5e-311, 1e308, HUGE_VAL, std::nan("")}) {
    SCOPED_TRACE(scale);
    for (int k = 0; k < 6; ++k) f.matrix.values[k] = scale * (k < 3 ? 4.0 : 1.0);
    if (1e-307 <= scale && scale < 1.0) {
      EXPECT_EQ(f.refactor(pattern), 0);
      EXPECT_EQ(f.INFO(17), 3);
      for (const double x : factor_reals(f)) EXPECT_TRUE(std::isfinite(x));
    } else {
      EXPECT_EQ(f.refactor(pattern), -6);
    }
  }
  Factoring diagonal(Coordinates{2, 2, {1, 2}, {1, 2}, {4.0, 4.0}}, kSettings[2]);  // without multipliers
  ASSERT_EQ(diagonal.factor(), 0);
  diagonal.matrix.values = {1e-310, 4.0};
  EXPECT_EQ(diagonal.refactor(), -6);
}

TEST(Ma38Refactor, FaultsOfTheCallerHaveTheirCodes) {
  Random random(396);
  const Coordinates matrix = dominated(block_triangular_matrix({1, 6, 5, 1}, random), random);
  Factoring good(matrix, kSettings[0]);
  ASSERT_GE(good.factor(), 0);
  const int ne = matrix.entries();
  const struct {
    const char* name;
    int status;
    void (*spoil)(Factoring&);
  } faults[] = {
      {"no order", -1, [](Factoring& f) { f.matrix.n = 0; }},
      {"no entries", -2, [](Factoring& f) { f.matrix.values.clear(); }},
      {"entries over the pattern", -2, [](Factoring& f) { f.keep[3] = 2 * f.matrix.entries() - 1; }},
      {"KEEP(4) zero", -7, [](Factoring& f) { f.keep[3] = 0; }},
      {"KEEP(4) lowest", -7, [](Factoring& f) { f.keep[3] = -2147483647 - 1; }},
      {"KEEP(4) above KEEP(5) - 6", -7, [](Factoring& f) { f.keep[3] = f.keep[4] - 5; }},
      {"KEEP(5) beyond the end", -7, [](Factoring& f) { ++f.keep[4]; }},
      {"KEEP(5) lowest", -7, [](Factoring& f) { f.keep[4] = -2147483647 - 1; }},
      {"another order", -7, [](Factoring& f) { --f.matrix.n; }},
      {"no stored entries", -7, [](Factoring& f) { f.index[f.lindex - 3] = 0; }},
      {"no blocks", -7, [](Factoring& f) { f.index[f.lindex - 5] = 0; }},
      {"more blocks than rows", -7, [](Factoring& f) { f.index[f.lindex - 5] = f.matrix.n + 1; }},
      {"a row twice", -7, [](Factoring& f) { f.index[f.lindex - 8] = f.index[f.lindex - 9]; }},
      {"a column out of range", -7,
       [](Factoring& f) { f.index[f.lindex - f.matrix.n - 8] = f.matrix.n + 1; }},
      {"a pattern cut off", -7, [](Factoring& f) { f.keep[3] += 20; }},
      {"no entry in range", -2, [](Factoring& f) { std::fill_n(f.index.begin(), f.matrix.entries(), 0); }},
  };
  for (const auto& fault : faults) {
    SCOPED_TRACE(fault.name);
    Factoring f = good;
    f.refactor();
    ASSERT_GE(f.INFO(1), 0);
    std::copy(matrix.rows.begin(), matrix.rows.end(), f.index.begin());
    std::copy(matrix.columns.begin(), matrix.columns.end(), f.index.begin() + ne);
    fault.spoil(f);
    f.refactor_in_place();
    expect_failure(f, fault.status);
  }
}

/// The last column index may share its word with the pattern's first, which is not read.
TEST(Ma38Refactor, ThePatternMovesToTheEnd) {
  Random random(397);
  for (const MatrixCase& one : regular_cases(random)) {
    for (const FactorSettings& settings : few_settings()) {
      for (const int overlap : {0, 1}) {
        SCOPED_TRACE(testing::Message() << one.name << ", " << settings.name << ", overlap " << overlap);
        Factoring f(one.matrix, settings);
        f.factor();
        const Ints pattern = f.pattern();
        const int ne = f.matrix.entries();
        f.keep[3] = 2 * ne + 1 - overlap, f.keep[4] = f.keep[3] + int(pattern.size()) - 1;
        std::copy(pattern.begin(), pattern.end(), f.index.begin() + f.keep[3] - 1);
        for (int k = 0; k < ne; ++k) {
          f.value[k] = one.matrix.values[k];
          f.index[k] = one.matrix.rows[k], f.index[ne + k] = one.matrix.columns[k];
        }
        EXPECT_GE(f.refactor_in_place(), 0);
        expect_factors(f);
        if (HasFailure()) return;
      }
    }
  }
}

/// Words inside their ranges that no factorisation leaves.
TEST(Ma38Refactor, ListsThatCannotBeAreRefused) {
  Random random(401);
  Factoring f(dominated(random_matrix(30, 30, 0.1, random), random), kSettings[2]);
  f.factor();
  const Ints pattern = f.pattern();
  const int n = f.matrix.n, elements = pattern[1];
  const auto status_with = [&](int at, int word) {
    Ints damaged = pattern;
    damaged[at] = word;
    return f.refactor(damaged);
  };
  int members = 0, children[] = {0, 0}, refused[] = {0, 0};  // by rows complete, by columns complete
  for (int e = 0, pivot = 1; e < elements; ++e) {
    const int* const element = &pattern[5 + elements + pattern[5 + e] - 1];
    const int u = element[2], l = element[3], lists = int(element - pattern.data()) + 7;
    for (const auto& list : {Ints{lists, l}, Ints{lists + l, u}}) {
      for (int k = 0; k < list[1]; ++k, ++members) {
        EXPECT_EQ(status_with(list[0] + k, pivot), -7) << "eliminated, element " << e + 1;
        if (k == 0) continue;
        EXPECT_EQ(status_with(list[0] + k, pattern[list[0]]), -7) << "twice, element " << e + 1;
      }
    }
    for (int k = lists + l + u; k < lists + l + u + element[4]; ++k) {
      if (pattern[k] <= n) continue;
      const int kind = (pattern[k] - 1) / n - 1;
      ++children[kind];
      refused[kind] += status_with(k, (pattern[k] - 1) % n + 1) == -7;  // as if it were assembled whole
    }
    pivot += element[1];
  }
  EXPECT_GT(members, 0);
  for (const int kind : {0, 1}) EXPECT_GT(2 * refused[kind], children[kind]);
}

/// Each word of the pattern by itself, and some together: nothing but a sanitizer judges what comes out, but
/// that a refusal leaves the words as they were.
TEST(Ma38Refactor, DamagedPatternsDoNoHarm) {
  Random random(399);
  int refused = 0, replayed = 0;
  for (const Coordinates& matrix : damaged_matrices(random)) {
    for (const FactorSettings& settings : {kSettings[0], kSettings[2], kSettings[5]}) {
      SCOPED_TRACE(testing::Message() << settings.name << ", order " << matrix.n);
      Factoring good(matrix, settings);
      good.factor();
      Ints pattern = good.pattern();
      const int values = good.INFO(23), indices = good.INFO(22);
      const auto negative_words = [](Ints::const_iterator begin, Ints::const_iterator end) {
        return std::count_if(begin, end, [](int word) { return word < 0; });
      };
      const auto run = [&](std::size_t = 0) {
        Factoring f = good;
        const int status = f.refactor(pattern, values, indices);
        ASSERT_TRUE(status >= -7 && status != -1 && status != -2) << "status " << status;
        (status < 0 ? refused : replayed) += 1;
        const auto left = f.index.end() - static_cast<std::ptrdiff_t>(pattern.size());
        EXPECT_LE(negative_words(left, f.index.end()), negative_words(pattern.begin(), pattern.end()));
      };
      for_each_damage(pattern, matrix.n, run);
      const Ints sound = pattern;
      for (int round = 0; round < 300; ++round, pattern = sound) {
        for (int k = number(random, 2, 5); k > 0; --k)
          pattern[number(random, 0, int(pattern.size()) - 1)] = number(random, -1, matrix.n + 2);
        run();
        if (HasFailure()) return;
      }
    }
  }
  EXPECT_GT(refused, 0);
  EXPECT_GT(replayed, 0);
}

}  // namespace
}  // namespace reference
