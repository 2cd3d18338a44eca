// The parts of the sparse solver that work without factors: structure, scaling and the estimate of a norm,
// against their definitions on small matrices.

#include <gtest/gtest.h>

#include <functional>

#include "host/corvid_host.h"
#include "sparse/solver/norm_estimate.h"
#include "sparse/solver/scaling.h"
#include "sparse/solver/structure.h"
#include "tests/support/hard_systems.h"

namespace {

using namespace corvidnum::solver;
using reference::Coordinates;
using reference::Dense;
using reference::Random;
using reference::Vector;
using Ints = std::vector<int>;
using Flags = std::vector<bool>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Owns the pattern, and the values by rows, of a square matrix without duplicates.
class SmallPattern {
 public:
  explicit SmallPattern(const Coordinates& a) : n_(a.n), has_(a.n, Flags(a.n)) {
    const Dense full = reference::dense(a);
    for (std::size_t k = 0; k < a.values.size(); ++k) has_[a.rows[k] - 1][a.columns[k] - 1] = true;
    for (int i = 0; i < n_; ++i) {
      for (int j = 0; j < n_; ++j) {
        if (has(i, j)) column_.push_back(j), values_.push_back(full(i, j));
        if (has(j, i)) row_.push_back(j);
      }
      row_begin_.push_back(static_cast<int>(column_.size()));
      column_begin_.push_back(static_cast<int>(row_.size()));
    }
  }
  int order() const { return n_; }
  bool has(int i, int j) const { return has_[i][j]; }
  const Vector& values() const { return values_; }
  Pattern view() const { return {n_, row_begin_.data(), column_.data(), column_begin_.data(), row_.data()}; }

 private:
  int n_;
  std::vector<Flags> has_;
  Ints row_begin_{0}, column_, column_begin_{0}, row_;
  Vector values_;
};

void for_random_matrices(const std::function<void(const Coordinates&, Random&)>& check) {
  Random random(14);
  const struct {
    int n, draws;
    double density;
  } shapes[] = {{0, 1, 0.5},    {1, 6, 0.5},   {2, 40, 0.5},  {3, 60, 0.4},   {6, 200, 0.25},
                {9, 200, 0.15}, {15, 60, 0.1}, {15, 60, 0.2}, {40, 20, 0.05}, {40, 3, 0.0}};
  for (const auto& shape : shapes) {
    for (int draw = 0; draw < shape.draws && !testing::Test::HasFailure(); ++draw) {
      SCOPED_TRACE(testing::Message() << shape.n << ", density " << shape.density << ", draw " << draw);
      check(reference::random_matrix(shape.n, shape.n, shape.density, random), random);
    }
  }
}

// ---- Structure

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

/// Expects the parts by their definition: a row that some maximum matching leaves out, so that its removal
/// does not lower the rank, is over-determined, and so are its columns; likewise with rows and columns
/// exchanged for the under-determined part.
void expect_coarse_parts(const SmallPattern& p, const Array<int>& row_of_column, int rank) {
  CoarseDecomposition d;
  ASSERT_TRUE(coarse_decomposition(p.view(), row_of_column, d));
  const int n = p.order();
  std::vector<Part> rows(n, Part::kSquare), columns = rows;
  Ints unmatched_rows, unmatched_columns;
  for (int k = 0; k < n; ++k) {
    const bool over = plain_rank(p, k) == rank, under = plain_rank(p, -1, k) == rank;
    if (over) rows[k] = Part::kOverDetermined;
    if (under) columns[k] = Part::kUnderDetermined;
    for (int other = 0; other < n; ++other) {
      if (over && p.has(k, other)) columns[other] = Part::kOverDetermined;
      if (under && p.has(other, k)) rows[other] = Part::kUnderDetermined;
    }
    const bool matched = std::count(row_of_column.begin(), row_of_column.end(), k) > 0;
    if (!matched) unmatched_rows.push_back(k);
    if (row_of_column[k] == kUnmatched) unmatched_columns.push_back(k);
  }
  EXPECT_TRUE(std::equal(rows.begin(), rows.end(), d.part_of_row.begin()));
  EXPECT_TRUE(std::equal(columns.begin(), columns.end(), d.part_of_column.begin()));
  EXPECT_EQ(Ints(d.unmatched_rows.begin(), d.unmatched_rows.end()), unmatched_rows);
  EXPECT_EQ(Ints(d.unmatched_columns.begin(), d.unmatched_columns.end()), unmatched_columns);
}

/// Whether the block at places begin .. end - 1 is one strongly connected component.
bool irreducible(const SmallPattern& p, const BlockTriangularForm& form, int begin, int end) {
  const int size = end - begin;
  std::vector<Flags> reach(size, Flags(size));
  for (int i = 0; i < size; ++i)
    for (int j = 0; j < size; ++j) reach[i][j] = p.has(form.row[begin + i], form.column[begin + j]);
  for (int k = 0; k < size; ++k)
    for (int i = 0; i < size; ++i)
      for (int j = 0; j < size; ++j) reach[i][j] = reach[i][j] || (reach[i][k] && reach[k][j]);
  return reach == std::vector<Flags>(size, Flags(size, true));
}

/// @return the number of blocks
int expect_block_form(const SmallPattern& p, const Array<int>& row_of_column) {
  const int n = p.order();
  BlockTriangularForm form;
  EXPECT_TRUE(block_triangular_form(p.view(), row_of_column, form));
  EXPECT_TRUE(std::is_permutation(form.row.begin(), form.row.end(), form.column.begin()));
  EXPECT_EQ(form.block_begin[0], 0);
  EXPECT_EQ(form.block_begin[form.blocks()], n);
  for (int b = 0; b < form.blocks(); ++b) {
    const int begin = form.block_begin[b], end = form.block_begin[b + 1];
    EXPECT_LT(begin, end);
    EXPECT_TRUE(irreducible(p, form, begin, end));
    for (int k = begin; k < end; ++k) {
      EXPECT_TRUE(p.has(form.row[k], form.column[k]));
      for (int below = end; below < n; ++below) EXPECT_FALSE(p.has(form.row[below], form.column[k]));
    }
  }
  return form.blocks();
}

TEST(Structure, IsThatOfItsDefinitions) {
  int deficient = 0, reducible = 0;
  for_random_matrices([&](const Coordinates& a, Random&) {
    const SmallPattern p(a);
    const int n = p.order();
    Array<int> row_of_column;
    int rank = -1, matched = 0, diagonal = 0, off = 0, mirrored = 0;
    ASSERT_TRUE(maximum_matching(p.view(), row_of_column, rank));
    Flags used(n);
    for (int j = 0; j < n; ++j) {
      const int i = row_of_column[j];
      if (i == kUnmatched) continue;
      ASSERT_TRUE(p.has(i, j) && !used[i]);
      used[i] = true;
      ++matched;
    }
    EXPECT_EQ(rank, matched);
    EXPECT_EQ(rank, plain_rank(p));
    expect_coarse_parts(p, row_of_column, rank);
    if (rank < n) ++deficient;
    if (rank == n) reducible += expect_block_form(p, row_of_column) > 1;
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        diagonal += i == j && p.has(i, j);
        off += i != j && p.has(i, j);
        mirrored += i != j && p.has(i, j) && p.has(j, i);
      }
    }
    EXPECT_EQ(diagonal_entries(p.view()), diagonal);
    EXPECT_EQ(pattern_symmetry(p.view(), diagonal), off == 0 ? 1.0 : static_cast<double>(mirrored) / off);
  });
  EXPECT_GT(deficient, 100);
  EXPECT_GT(reducible, 50);
}

// ---- Scaling

/// The scaled matrix, in full. Fails on entries or exponents that are out of their range.
Dense scaled_matrix(const SmallPattern& p, Array<int>& row, Array<int>& column) {
  EXPECT_TRUE(equilibrate(p.view(), p.values().data(), ScalingEffort::kThorough, row, column));
  Dense result(p.order(), p.order());
  const Pattern view = p.view();
  for (int i = 0; i < p.order(); ++i) {
    for (int k = view.row_begin[i]; k < view.row_begin[i + 1]; ++k) {
      const int j = view.column[k], exponent = row[i] + column[j];
      const double value = p.values()[k];
      result(i, j) = scaled(value, exponent);
      EXPECT_EQ(result(i, j), std::ldexp(value, exponent));
      EXPECT_LE(std::fabs(result(i, j)), std::max(1.5, std::fabs(value)));
    }
    EXPECT_LE(std::max(std::abs(row[i]), std::abs(column[i])), kMostScaleExponent);
  }
  return result;
}

/// Expects the largest element of each row and column with entries near 1, and exponents of 0 elsewhere.
void expect_equilibrated(const Coordinates& matrix) {
  Array<int> exponents[2];
  const Dense a = scaled_matrix(SmallPattern(matrix), exponents[0], exponents[1]);
  for (const int side : {0, 1}) {
    for (int line = 0; line < a.rows; ++line) {
      double most = 0.0;
      for (int k = 0; k < a.cols; ++k) most = std::max(most, std::fabs(side ? a(k, line) : a(line, k)));
      EXPECT_TRUE(most == 0.0 ? exponents[side][line] == 0 : 0.5 <= most * most && most * most <= 2.0)
          << most;
    }
  }
}

TEST(Scaling, BringsTheLargestElementsOfRowsAndColumnsToOne) {
  for_random_matrices([](Coordinates a, Random& random) {
    a = reference::badly_scaled(a, 50.0 * std::fabs(reference::uniform(random)), random);
    for (std::size_t k = 0; k < a.values.size(); k += 7) a.values[k] = 0.0;  // explicit zeros
    expect_equilibrated(a);
  });
  const double extremes[] = {5e-324, 3e-320, 2.2250738585072014e-308, 1e-300,
                             1.0,    1e300,  1.7976931348623157e308};
  for (const double x : extremes) {
    expect_equilibrated({1, 1, {1}, {1}, {-x}});
    expect_equilibrated({2, 2, {1, 1, 2, 2}, {1, 2, 1, 2}, {x, x, x, -x}});
    for (const double y : extremes) expect_equilibrated({2, 2, {1, 2}, {1, 2}, {x, y}});
  }
}

TEST(Scaling, StaysFiniteWhereTheLimitsBind) {
  // A chain whose scaling to 1 throughout would need exponents of some 2000 for each link.
  Coordinates chain{12, 12, {}, {}, {}};
  for (int i = 1; i <= 12; ++i) {
    chain.add(i, i, 1e300);
    if (i > 1) chain.add(i - 1, i, 1e-300);
    if (i > 2) chain.add(i, i - 2, 1e-300);
  }
  Array<int> row, column;
  scaled_matrix(SmallPattern(chain), row, column);
  const SmallPattern odd({2, 2, {1, 1, 2}, {1, 2, 2}, {8.0, std::nan(""), kInfinity}});
  EXPECT_TRUE(equilibrate(odd.view(), odd.values().data(), ScalingEffort::kThorough, row, column));
  EXPECT_EQ(row[0] + column[0], -3);
  EXPECT_TRUE(row[1] == 0 && column[1] == 0) << "no entry counts";
}

TEST(Scaling, UndoesUnitsAndBearsTinyEntries) {
  Random random(16);
  const auto condition = [](const Coordinates& a) {
    Array<int> row, column;
    return reference::dense_condition(scaled_matrix(SmallPattern(a), row, column));
  };
  for (int trial = 0; trial < 30; ++trial) {
    SCOPED_TRACE(trial);
    const Coordinates a = trial % 2 ? reference::column_matrix(4 + trial / 3, 3, random)
                                    : reference::flowsheet_matrix(3 + trial / 3, 4, random);
    EXPECT_LT(condition(reference::badly_scaled(a, 24.0, random)), 1e3 * condition(a));
    Coordinates odd = reference::banded_matrix(20, 2, 2, random);
    for (const int i : {1, 7, 13})
      odd.add(i, reference::number(random, i + 3, 20), std::pow(10.0, -reference::number(random, 30, 250)));
    EXPECT_LT(condition(odd), 1e8) << "three entries, far from singular";
  }
}

// ---- The estimate of a norm

struct Estimate {
  double norm = -1.0;
  int products = 0;
};

/// Estimates the norm of `a`; the product of number `failing` cannot be computed.
Estimate estimate(const Dense& a, int failing = 0) {
  Estimate result;
  const auto product = [&](bool transposed) {
    return [&, transposed](double* x) {
      Vector y(a.rows);
      for (int i = 0; i < a.rows; ++i)
        for (int j = 0; j < a.cols; ++j) y[transposed ? j : i] += a(i, j) * x[transposed ? i : j];
      std::copy(y.begin(), y.end(), x);
      return ++result.products != failing;
    };
  };
  EXPECT_TRUE(estimate_norm1(a.rows, product(false), product(true), result.norm));
  return result;
}

TEST(NormEstimate, IsALowerBoundNearTheNorm) {
  Random random(14);
  int far = 0, most_products = 0;
  for (int trial = 0; trial < 1000; ++trial) {
    const int n = 1 + trial % 40;
    const Dense a = trial % 2 ? reference::random_dense(n, n, random)
                              : reference::of_condition(n, std::pow(10.0, trial % 9), random);
    const double norm = reference::norm1(a);
    const Estimate e = estimate(a);
    EXPECT_LE(e.norm, norm * (1.0 + 1e-12));
    far += e.norm < norm / 3.0;
    most_products = std::max(most_products, e.products);
  }
  EXPECT_LE(far, 2);
  EXPECT_LE(most_products, 11);
  EXPECT_GT(most_products, 4);
  EXPECT_EQ(estimate(Dense(0, 0)).norm, 0.0);
  EXPECT_EQ(estimate(Dense(3, 3)).norm, 0.0);
}

TEST(NormEstimate, IsInfiniteAfterAProductThatFails) {
  Random random(15);
  const Dense a = reference::random_dense(8, 8, random);
  const int products = estimate(a).products;
  for (int failing = 1; failing <= products; ++failing) {
    const Estimate e = estimate(a, failing);
    EXPECT_EQ(e.norm, kInfinity);
    EXPECT_EQ(e.products, failing) << "goes on";
  }
  for (const double odd : {std::nan(""), kInfinity, -kInfinity}) {
    Dense b = a;
    b(7, 0) = odd;
    EXPECT_EQ(estimate(b).norm, kInfinity);
    EXPECT_EQ(estimate(b).products, 1);
  }
  Dense huge(2, 2);
  huge(0, 0) = huge(1, 0) = 1.7e308;
  EXPECT_EQ(estimate(huge).norm, kInfinity) << "the sum of the column";
}

// ---- All of them

TEST(Parts, ArraysBeginAtMultiplesOf64Bytes) {
  Array<double> arrays[20];
  for (int k = 0; k < 20; ++k) {
    ASSERT_TRUE(arrays[k].allocate(1 + 3 * k) && arrays[k].lengthen(2 + 5 * k));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(arrays[k].data()) % 64, 0U) << k;
  }
}

TEST(Parts, SurviveEachRefusalOfMemory) {
  const auto structure = [](const Coordinates& a) {
    const SmallPattern p(a);
    Array<int> row_of_column;
    CoarseDecomposition parts;
    BlockTriangularForm form;
    int rank = 0;
    return maximum_matching(p.view(), row_of_column, rank) &&
           coarse_decomposition(p.view(), row_of_column, parts) &&
           (rank < p.order() || block_triangular_form(p.view(), row_of_column, form));
  };
  const Coordinates deficient{3, 3, {1, 2, 3, 3}, {1, 1, 2, 3}, Vector(4, 1.0)};
  const Coordinates regular{3, 3, {1, 2, 3, 1}, {1, 2, 3, 2}, Vector(4, 1.0)};
  const struct {
    int allocations;
    std::function<bool()> run;
  } parts[] = {{10, [&] { return structure(deficient); }},
               {10, [&] { return structure(regular); }},
               {5,
                [&] {
                  const SmallPattern p(regular);
                  Array<int> row, column;
                  return equilibrate(p.view(), p.values().data(), ScalingEffort::kThorough, row, column);
                }},
               {3, [] {
                  double norm = -1.0;
                  const auto keep = [](double*) { return true; };
                  const bool done = estimate_norm1(5, keep, keep, norm);
                  EXPECT_EQ(norm, done ? 1.0 : -1.0);
                  return done;
                }}};
  const std::int64_t before = corvid_host::LiveBlocks();
  for (const auto& part : parts) {
    int refusals = 0;
    for (bool done = false; !done; ++refusals) {
      corvid_host::FailAllocation(refusals + 1);
      const std::int64_t refused_before = corvid_host::RefusedAllocations();
      done = part.run();
      EXPECT_EQ(done, corvid_host::RefusedAllocations() == refused_before);
      corvid_host::StopFailing();
      EXPECT_EQ(corvid_host::LiveBlocks(), before);
    }
    EXPECT_GE(refusals - 1, part.allocations);
  }
}

}  // namespace
