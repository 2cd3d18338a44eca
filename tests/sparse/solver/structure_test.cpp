// Matching, coarse decomposition and block triangular form, against their definitions on small patterns.

#include "sparse/solver/structure.h"

#include <gtest/gtest.h>

#include <functional>

#include "host/corvid_host.h"
#include "tests/sparse/solver/small_pattern.h"

namespace {

using namespace corvidnum::solver;
using reference::Coordinates;
using reference::Random;
using solver_tests::SmallPattern;
using Ints = std::vector<int>;
using Flags = std::vector<bool>;

void for_random_patterns(const std::function<void(const SmallPattern&)>& check) {
  Random random(14);
  const struct {
    int n, draws;
    double density;
  } shapes[] = {{0, 1, 0.5},    {1, 6, 0.5},   {2, 40, 0.5},  {3, 60, 0.4},   {6, 200, 0.25},
                {9, 200, 0.15}, {15, 60, 0.1}, {15, 60, 0.2}, {40, 20, 0.05}, {40, 3, 0.0}};
  for (const auto& shape : shapes) {
    for (int draw = 0; draw < shape.draws && !testing::Test::HasFailure(); ++draw) {
      SCOPED_TRACE(testing::Message() << shape.n << ", density " << shape.density << ", draw " << draw);
      check(SmallPattern(reference::random_matrix(shape.n, shape.n, shape.density, random)));
    }
  }
}

/// The structural rank without one row or column, if that is not -1, by plain augmenting paths.
int plain_rank(const SmallPattern& p, int without_row = -1, int without_column = -1) {
  const int n = p.order();
  Ints row_of(n, -1);
  int rank = 0;
  for (int row = 0; row < n; ++row) {
    Flags seen(n);
    const std::function<bool(int)> match = [&](int i) {
      for (int j = 0; j < n; ++j) {
        if (!p.has(i, j) || seen[j] || j == without_column) continue;
        seen[j] = true;
        if (row_of[j] != -1 && !match(row_of[j])) continue;
        row_of[j] = i;
        return true;
      }
      return false;
    };
    if (row != without_row) rank += match(row);
  }
  return rank;
}

TEST(Structure, MatchesAsManyColumnsAsCanBe) {
  for_random_patterns([](const SmallPattern& p) {
    Array<int> row_of_column;
    int rank = -1, matched = 0;
    ASSERT_TRUE(maximum_matching(p.view(), row_of_column, rank));
    Flags used(p.order());
    for (int j = 0; j < p.order(); ++j) {
      const int i = row_of_column[j];
      if (i == kUnmatched) continue;
      ASSERT_TRUE(p.has(i, j) && !used[i]);
      used[i] = true;
      ++matched;
    }
    EXPECT_EQ(rank, matched);
    EXPECT_EQ(rank, plain_rank(p));
  });
}

// A row that some maximum matching leaves out is over-determined, a column likewise under-determined: these
// are the rows and columns whose removal does not lower the rank. Neighbours of the former are
// over-determined, too.
TEST(Structure, DecomposesByWhatMaximumMatchingsLeaveOut) {
  int deficient = 0;
  for_random_patterns([&](const SmallPattern& p) {
    const int n = p.order();
    Array<int> row_of_column;
    CoarseDecomposition d;
    int rank = -1;
    ASSERT_TRUE(maximum_matching(p.view(), row_of_column, rank));
    ASSERT_TRUE(coarse_decomposition(p.view(), row_of_column, d));
    deficient += rank < n;
    EXPECT_EQ(d.unmatched_rows.size(), n - rank);
    EXPECT_EQ(d.unmatched_columns.size(), n - rank);
    for (const int i : d.unmatched_rows) EXPECT_EQ(d.part_of_row[i], Part::kOverDetermined);
    for (const int j : d.unmatched_columns) {
      EXPECT_EQ(row_of_column[j], kUnmatched);
      EXPECT_EQ(d.part_of_column[j], Part::kUnderDetermined);
    }
    EXPECT_TRUE(std::is_sorted(d.unmatched_rows.begin(), d.unmatched_rows.end()));
    int rows[3] = {}, columns[3] = {};
    for (int k = 0; k < n; ++k) {
      ++rows[static_cast<int>(d.part_of_row[k])];
      ++columns[static_cast<int>(d.part_of_column[k])];
      EXPECT_EQ(d.part_of_row[k] == Part::kOverDetermined, plain_rank(p, k) == rank);
      EXPECT_EQ(d.part_of_column[k] == Part::kUnderDetermined, plain_rank(p, -1, k) == rank);
      const int partner = row_of_column[k];
      EXPECT_TRUE(partner == kUnmatched || d.part_of_row[partner] == d.part_of_column[k]);
      for (int i = 0; i < n; ++i) {
        if (!p.has(i, k)) continue;
        EXPECT_TRUE(d.part_of_row[i] != Part::kOverDetermined ||
                    d.part_of_column[k] == Part::kOverDetermined);
        EXPECT_TRUE(d.part_of_column[k] != Part::kUnderDetermined ||
                    d.part_of_row[i] == Part::kUnderDetermined);
      }
    }
    const int square = static_cast<int>(Part::kSquare), over = static_cast<int>(Part::kOverDetermined),
              under = static_cast<int>(Part::kUnderDetermined);
    EXPECT_EQ(rows[square], columns[square]);
    EXPECT_EQ(rows[over] - columns[over], n - rank);
    EXPECT_EQ(columns[under] - rows[under], n - rank);
  });
  EXPECT_GT(deficient, 100);
}

/// Whether the block at places begin .. end - 1 is one strongly connected component.
bool irreducible(const SmallPattern& p, const BlockTriangularForm& form, int begin, int end) {
  const int size = end - begin;
  std::vector<Flags> reach(size, Flags(size));
  for (int i = 0; i < size; ++i) {
    for (int j = 0; j < size; ++j) reach[i][j] = p.has(form.row[begin + i], form.column[begin + j]);
  }
  for (int k = 0; k < size; ++k) {
    for (int i = 0; i < size; ++i) {
      for (int j = 0; j < size; ++j) reach[i][j] = reach[i][j] || (reach[i][k] && reach[k][j]);
    }
  }
  return std::all_of(reach.begin(), reach.end(), [](const Flags& row) {
    return std::all_of(row.begin(), row.end(), [](bool x) { return x; });
  });
}

void expect_block_form(const SmallPattern& p) {
  const int n = p.order();
  Array<int> row_of_column;
  BlockTriangularForm form;
  int rank = -1;
  ASSERT_TRUE(maximum_matching(p.view(), row_of_column, rank));
  if (rank < n) return;
  ASSERT_TRUE(block_triangular_form(p.view(), row_of_column, form));
  ASSERT_TRUE(std::is_permutation(form.row.begin(), form.row.end(), form.column.begin()));
  ASSERT_EQ(form.block_begin[0], 0);
  ASSERT_EQ(form.block_begin[form.blocks()], n);
  for (int b = 0; b < form.blocks(); ++b) {
    const int begin = form.block_begin[b], end = form.block_begin[b + 1];
    ASSERT_LT(begin, end);
    EXPECT_TRUE(irreducible(p, form, begin, end));
    for (int k = begin; k < end; ++k) {
      EXPECT_TRUE(p.has(form.row[k], form.column[k]));
      for (int below = end; below < n; ++below) EXPECT_FALSE(p.has(form.row[below], form.column[k]));
    }
  }
}

TEST(Structure, FindsIrreducibleBlocksWithNothingBelow) {
  for_random_patterns(expect_block_form);
  Random random(15);
  const SmallPattern known(reference::block_triangular_matrix({1, 4, 2, 1, 7, 1}, random));
  expect_block_form(known);
  Array<int> row_of_column;
  BlockTriangularForm form;
  int rank = 0;
  ASSERT_TRUE(maximum_matching(known.view(), row_of_column, rank));
  ASSERT_TRUE(block_triangular_form(known.view(), row_of_column, form));
  EXPECT_EQ(form.blocks(), 6);
}

TEST(Structure, CountsSymmetryAndDiagonal) {
  for_random_patterns([](const SmallPattern& p) {
    int diagonal = 0, off = 0, mirrored = 0;
    for (int i = 0; i < p.order(); ++i) {
      for (int j = 0; j < p.order(); ++j) {
        if (!p.has(i, j)) continue;
        diagonal += i == j;
        off += i != j;
        mirrored += i != j && p.has(j, i);
      }
    }
    EXPECT_EQ(diagonal_entries(p.view()), diagonal);
    EXPECT_EQ(pattern_symmetry(p.view()), off == 0 ? 1.0 : static_cast<double>(mirrored) / off);
  });
}

TEST(Structure, SurvivesEachRefusalOfMemory) {
  const Coordinates deficient{3, 3, {1, 2, 3, 3}, {1, 1, 2, 3}, {1.0, 1.0, 1.0, 1.0}};
  const Coordinates regular{3, 3, {1, 2, 3, 1}, {1, 2, 3, 2}, {1.0, 1.0, 1.0, 1.0}};
  const auto run = [](const SmallPattern& p) {
    Array<int> row_of_column;
    CoarseDecomposition parts;
    BlockTriangularForm form;
    int rank = 0;
    return maximum_matching(p.view(), row_of_column, rank) &&
           coarse_decomposition(p.view(), row_of_column, parts) &&
           (rank < p.order() || block_triangular_form(p.view(), row_of_column, form));
  };
  const std::int64_t before = corvid_host::LiveBlocks();
  for (const Coordinates& a : {deficient, regular}) {
    const SmallPattern p(a);
    int refusals = 0;
    for (bool done = false; !done; ++refusals) {
      corvid_host::FailAllocation(refusals + 1);
      const std::int64_t refused_before = corvid_host::RefusedAllocations();
      done = run(p);
      EXPECT_EQ(done, corvid_host::RefusedAllocations() == refused_before);
      corvid_host::StopFailing();
      EXPECT_EQ(corvid_host::LiveBlocks(), before);
    }
    EXPECT_GT(refusals, 9);
  }
}

}  // namespace
