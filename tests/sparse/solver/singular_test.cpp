// Singular matrices: they are found, and Diagnose names equations and unknowns without which the rest is
// regular. The truth comes from brute force and from dense elimination.

#include "tests/sparse/solver/solving.h"

namespace solver_tests {
namespace {

using corvidnum::SparseBlocks;
using corvidnum::SparseDiagnosis;
using corvidnum::SparseIndices;
using Indices = std::vector<int>;

Indices list(const SparseIndices& indices) { return Indices(indices.index, indices.index + indices.count); }

/// Returns the matrix without some rows and columns, numbered from 1.
Dense without(const Dense& a, const Indices& rows, const Indices& columns) {
  const auto named = [](const Indices& names, int i) {
    return std::find(names.begin(), names.end(), i + 1) != names.end();
  };
  Dense rest(a.rows - static_cast<int>(rows.size()), a.cols - static_cast<int>(columns.size()));
  std::size_t place = 0;
  for (int j = 0; j < a.cols; ++j)
    for (int i = 0; i < a.rows; ++i)
      if (!named(rows, i) && !named(columns, j)) rest.values[place++] = a(i, j);
  return rest;
}

/// Expects that Diagnose names as many equations and unknowns as the matrix lacks pivots, and that the rest
/// is regular.
void expect_numerical_diagnosis(SparseSolver& solver, const Dense& a, int rank) {
  SparseDiagnosis diagnosis;
  ASSERT_EQ(solver.Diagnose(&diagnosis), SparseStatus::Singular);
  EXPECT_EQ(diagnosis.structural_rank, a.rows);
  EXPECT_EQ(diagnosis.numerical_rank, rank);
  const Indices equations = list(diagnosis.dependent_equations),
                unknowns = list(diagnosis.dependent_unknowns);
  ASSERT_EQ(static_cast<int>(equations.size()), a.rows - rank);
  ASSERT_EQ(static_cast<int>(unknowns.size()), a.rows - rank);
  EXPECT_EQ(reference::dense_rank(without(a, equations, unknowns)), rank);
  EXPECT_EQ(diagnosis.unmatched_equations.count + diagnosis.overdetermined_unknowns.count, 0);
}

TEST(SparseSingular, DependentEquationsAreFoundAndNamed) {
  Random random(31);
  int diagnosed = 0;
  for (int round = 0; round < 150; ++round) {
    const Coordinates a =
        round % 2 ? reference::kinds::whole_deficient(random) : reference::kinds::equal_columns(random).a;
    const Dense full = reference::dense(a);
    const int rank = reference::dense_rank(full);
    for (const SparseMethod method : kMethods) {
      SCOPED_TRACE(testing::Message() << "round " << round << ", " << MethodName(method));
      Solver solver(a, by(method));
      EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Singular);
      EXPECT_EQ(solver.State(), SparseStatus::Singular);
      Vector x(static_cast<std::size_t>(a.n), 1.0);
      EXPECT_EQ(solver.Solve(x.data(), x.data()), SparseStatus::Singular);
      EXPECT_EQ(x[0], 1.0);
      double raw = 0;
      EXPECT_EQ(solver.ConditionEstimate(&raw, nullptr), SparseStatus::Singular);
      EXPECT_TRUE(std::isinf(raw));
      SparseDiagnosis diagnosis;
      solver.Diagnose(&diagnosis);
      if (diagnosis.structural_rank < a.n) continue;
      ++diagnosed;
      expect_numerical_diagnosis(solver, full, rank);
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(diagnosed, 200);
}

TEST(SparseSingular, WhatIsLeftIsRegularToWorkingPrecision) {
  Random random(36);
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    const Coordinates a = reference::kinds::dependent_rows(random).a;
    Solver solver(a);
    SparseDiagnosis diagnosis;
    solver.Factorise(a.values.data());
    if (solver.Diagnose(&diagnosis) != SparseStatus::Singular || diagnosis.numerical_rank < 1) continue;
    const Coordinates rest = reference::from_dense(without(
        reference::dense(a), list(diagnosis.dependent_equations), list(diagnosis.dependent_unknowns)));
    EXPECT_EQ(rest.n, diagnosis.numerical_rank);
    EXPECT_EQ(Solver(rest).Factorise(rest.values.data()), SparseStatus::Factorised);
  }
}

TEST(SparseSingular, PivotsOutsideTheTriangularFormCount) {
  // Both diagonal blocks have rank 1, and the entry above them makes the third pivot.
  const Coordinates a{4, 4, {1, 2, 1, 2, 1, 3, 4, 3, 4}, {1, 1, 2, 2, 3, 3, 3, 4, 4}, Vector(9, 1.0)};
  Solver solver(a);
  EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Singular);
  expect_numerical_diagnosis(solver, reference::dense(a), 3);
}

TEST(SparseSingular, LargePivotsDoNotHideIt) {
  Coordinates a{70, 70, {}, {}, {}};  // all pivots are 1, and the condition is 2^70
  for (int i = 1; i <= a.n; ++i) {
    a.add(i, i, 1);
    if (i < a.n) a.add(i, i + 1, -2);
  }
  Solver solver(a);
  EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Singular);
  expect_numerical_diagnosis(solver, reference::dense(a), 69);
}

TEST(SparseSingular, BadUnitsAloneDoNotMakeASingularMatrix) {
  Random random(32);
  for (int round = 0; round < 20; ++round) {
    const Coordinates a = reference::badly_scaled(reference::random_square(20, 3, random), 24, random);
    Solver solver(a);
    EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Factorised);
    SparseDiagnosis diagnosis;
    EXPECT_EQ(solver.Diagnose(&diagnosis), SparseStatus::Factorised);
    EXPECT_EQ(diagnosis.structural_rank, 20);
    EXPECT_EQ(diagnosis.dependent_equations.count + diagnosis.unmatched_equations.count, 0);
  }
}

TEST(SparseSingular, ARefactorisationThatTurnedSingularIsNoticedOrConfessed) {
  Random random(33);
  int confessed = 0;
  for (int round = 0; round < 600; ++round) {
    SCOPED_TRACE(round);
    const reference::HardMatrix matrix = reference::kinds::turned_singular(random);
    const Coordinates& a = matrix.a;
    const Vector solution = reference::random_vector(a.n, random), b = reference::product(a, solution);
    Solver solver(a, by(kMethods[round % 3]));
    Vector x(b.size());
    if (solver.Factorise(matrix.earlier_values.data()) != SparseStatus::Factorised) continue;
    if (solver.Refactorise(a.values.data()) != SparseStatus::Factorised) continue;
    const Vector unfit = reference::random_vector(a.n, random);  // for which there is no solution
    Solver other(a, by(kMethods[round % 3]));
    other.Factorise(matrix.earlier_values.data());
    other.Refactorise(a.values.data());
    EXPECT_EQ(other.Solve(unfit.data(), x.data()), SparseStatus::Singular);
    if (solver.Solve(b.data(), x.data()) != SparseStatus::Solved) continue;
    ++confessed;
    double bound = 0, difference = 0, size = 0;
    solver.ForwardErrorBound(b.data(), x.data(), false, &bound);
    for (std::size_t j = 0; j < x.size(); ++j) {
      difference = std::max(difference, std::fabs(x[j] - solution[j]));
      size = std::max(size, std::fabs(x[j]));
    }
    EXPECT_LE(difference, 3 * bound * size);
    SparseDiagnosis diagnosis;  // tests what was not tested
    EXPECT_EQ(solver.Diagnose(&diagnosis), SparseStatus::Singular);
    EXPECT_EQ(solver.State(), SparseStatus::Singular);
  }
  EXPECT_GT(confessed, 0);
}

// ---- Structure

/// Returns the largest number of rows that can be matched from `row` on, by trying all matchings.
int brute_rank(const Coordinates& a, int row = 1, unsigned taken_columns = 0, int left_out = 0) {
  if (row > a.m) return 0;
  int best = brute_rank(a, row + 1, taken_columns, left_out);
  if (row == left_out) return best;
  for (std::size_t k = 0; k < a.rows.size(); ++k) {
    const unsigned column = 1U << a.columns[k];
    if (a.rows[k] == row && !(taken_columns & column))
      best = std::max(best, 1 + brute_rank(a, row + 1, taken_columns | column, left_out));
  }
  return best;
}

/// The rows that some maximum matching leaves out, and the columns in which they have entries.
void brute_overdetermined(const Coordinates& a, int rank, Indices& rows, Indices& columns) {
  std::set<int> met;
  for (int row = 1; row <= a.m; ++row) {
    if (brute_rank(a, 1, 0, row) < rank) continue;
    rows.push_back(row);
    for (std::size_t k = 0; k < a.rows.size(); ++k)
      if (a.rows[k] == row) met.insert(a.columns[k]);
  }
  columns.assign(met.begin(), met.end());
}

TEST(SparseSingular, StructureIsThatOfBruteForce) {
  Random random(34);
  int singular = 0;
  for (int round = 0; round < 150; ++round) {
    SCOPED_TRACE(round);
    const int n = reference::number(random, 1, 6);
    const Coordinates a = reference::random_matrix(n, n, 0.3, random);
    const int rank = brute_rank(a);
    const Coordinates mirrored = reference::transpose(a);
    Indices over_rows, over_columns, under_rows, under_columns;
    brute_overdetermined(a, rank, over_rows, over_columns);
    brute_overdetermined(mirrored, rank, under_columns, under_rows);
    Solver solver(a);
    SparseDiagnosis diagnosis;
    SparseBlocks blocks;
    const SparseStatus status = solver.Diagnose(&diagnosis);
    EXPECT_EQ(diagnosis.structural_rank, rank);
    EXPECT_EQ(solver.Blocks(&blocks), rank < n ? SparseStatus::Singular : SparseStatus::Factorised);
    EXPECT_EQ(status, rank < n ? SparseStatus::Singular : SparseStatus::NotFactorised);
    if (rank == n) continue;
    ++singular;
    EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Singular);
    EXPECT_EQ(list(diagnosis.overdetermined_equations), over_rows);
    EXPECT_EQ(list(diagnosis.overdetermined_unknowns), over_columns);
    EXPECT_EQ(list(diagnosis.underdetermined_equations), under_rows);
    EXPECT_EQ(list(diagnosis.underdetermined_unknowns), under_columns);
    const Indices rows = list(diagnosis.unmatched_equations), columns = list(diagnosis.unmatched_unknowns);
    ASSERT_EQ(static_cast<int>(rows.size()), n - rank);
    ASSERT_EQ(static_cast<int>(columns.size()), n - rank);
    const Dense rest = without(reference::dense(a), rows, columns);
    EXPECT_EQ(brute_rank(reference::from_dense(rest)), rank);
  }
  EXPECT_GT(singular, 50);
}

TEST(SparseSingular, BlocksAreTriangular) {
  Random random(35);
  const Coordinates a = reference::block_triangular_matrix({1, 4, 1, 3, 7}, random);
  for (const int base : {0, 1}) {
    Indices rows = a.rows, columns = a.columns;
    for (std::size_t k = 0; k < rows.size(); ++k) rows[k] += base - 1, columns[k] += base - 1;
    SparseSolver solver(a.n, a.entries(), rows.data(), columns.data(), base);
    SparseBlocks blocks;
    ASSERT_EQ(solver.Blocks(&blocks), SparseStatus::Factorised);
    ASSERT_EQ(blocks.count, 5);
    Indices block_of_row(16), block_of_column(16), orders;
    for (int block = 0; block < blocks.count; ++block) {
      orders.push_back(blocks.begin[block + 1] - blocks.begin[block]);
      for (int place = blocks.begin[block]; place < blocks.begin[block + 1]; ++place) {
        block_of_row.at(static_cast<std::size_t>(blocks.row[place] - base)) = block;
        block_of_column.at(static_cast<std::size_t>(blocks.column[place] - base)) = block;
      }
    }
    std::sort(orders.begin(), orders.end());
    EXPECT_EQ(orders, (Indices{1, 1, 3, 4, 7}));
    for (std::size_t k = 0; k < rows.size(); ++k)
      EXPECT_LE(block_of_row[static_cast<std::size_t>(rows[k] - base)],
                block_of_column[static_cast<std::size_t>(columns[k] - base)]);
  }
}

TEST(SparseSingular, DiagnoseTestsWhateverTheJudge) {
  const Coordinates a{3,
                      3,
                      {1, 1, 1, 2, 2, 2, 3, 3, 3},
                      {1, 2, 3, 1, 2, 3, 1, 2, 3},
                      {0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9}};
  SparseOptions options;
  options.judge = 0;
  Solver solver(a, options);
  EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Factorised);
  corvidnum::SparseDiagnosis diagnosis;
  EXPECT_EQ(solver.Diagnose(&diagnosis), SparseStatus::Singular);
  EXPECT_EQ(diagnosis.numerical_rank, 2);
  EXPECT_EQ(diagnosis.dependent_equations.count, 1);
  const int made = solver.Report().factorisations;
  EXPECT_EQ(solver.Diagnose(&diagnosis), SparseStatus::Singular);
  EXPECT_EQ(solver.Report().factorisations, made) << "nothing new to find out";
}

}  // namespace
}  // namespace solver_tests
