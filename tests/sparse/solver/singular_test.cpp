// Singular matrices: they are found, and Diagnose names equations and unknowns without which the rest is
// regular. The truth comes from dense elimination; parts_test tries all matchings.

#include "tests/sparse/solver/solving.h"

namespace solver_tests {
namespace {

using corvidnum::SparseBlocks;
using corvidnum::SparseDiagnosis;
using corvidnum::SparseIndices;

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

/// Factorises a matrix that lacks rank, and expects that Diagnose names as many equations and unknowns as it
/// lacks pivots, and that the rest is regular.
/// @param rank -1: not known, since rounding blurs it
/// @return whether the rank is lacking by the values, not by the pattern
bool expect_diagnosis(const Coordinates& a, int rank, SparseMethod method = SparseMethod::automatic,
                      int base = 1) {
  Solver solver(a, by(method), base);
  EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Singular);
  SparseDiagnosis diagnosis;
  EXPECT_EQ(solver.Diagnose(&diagnosis), SparseStatus::Singular);
  const bool by_values = diagnosis.structural_rank == a.n;
  const Indices equations =
      from_base(list(by_values ? diagnosis.dependent_equations : diagnosis.unmatched_equations), 2 - base);
  const Indices unknowns =
      from_base(list(by_values ? diagnosis.dependent_unknowns : diagnosis.unmatched_unknowns), 2 - base);
  const int found = by_values ? diagnosis.numerical_rank : diagnosis.structural_rank;
  EXPECT_TRUE(by_values ? rank < 0 || found == rank : diagnosis.numerical_rank == -1) << found;
  EXPECT_EQ(equations.size(), a.n - found);
  EXPECT_EQ(unknowns.size(), a.n - found);
  const SparseIndices& other = by_values ? diagnosis.unmatched_equations : diagnosis.dependent_equations;
  EXPECT_EQ(other.count, 0);
  for (const Indices& indices : {equations, unknowns})
    for (const int index : indices) EXPECT_TRUE(1 <= index && index <= a.n) << index;
  if (testing::Test::HasFailure() || found < 1) return by_values;
  const Dense rest = without(reference::dense(a), equations, unknowns);
  const Coordinates regular = reference::from_dense(rest);
  SparseBlocks blocks;
  EXPECT_EQ(Solver(regular).Blocks(&blocks), SparseStatus::Factorised) << "its structural rank is full";
  if (!by_values) return false;
  EXPECT_TRUE(rank < 0 || reference::dense_rank(rest) == rank);
  EXPECT_EQ(Solver(regular).Factorise(regular.values.data()), SparseStatus::Factorised);
  return by_values;
}

TEST(SparseSingular, DependentEquationsAreFoundAndNamed) {
  Random random(31);
  int by_values = 0;
  for (int round = 0; round < 150; ++round) {
    const Coordinates rounded = reference::kinds::dependent_rows(random).a;
    const Coordinates a =
        round % 2 ? reference::kinds::whole_numbers(random).a : reference::kinds::equal_columns(random).a;
    const int rank = reference::dense_rank(reference::dense(a));
    for (const SparseMethod method : kMethods) {
      SCOPED_TRACE(testing::Message() << "round " << round << ", " << MethodName(method));
      by_values += expect_diagnosis(a, rank, method, round % 3 == 0);
      if (Solver(rounded).Factorise(rounded.values.data()) == SparseStatus::Singular)
        expect_diagnosis(rounded, -1, method);
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(by_values, 200);
  // Both diagonal blocks have rank 1, and the entry above them makes the third pivot.
  expect_diagnosis({4, 4, {1, 2, 1, 2, 1, 3, 4, 3, 4}, {1, 1, 2, 2, 3, 3, 3, 4, 4}, Vector(9, 1.0)}, 3);
  Coordinates large_pivots{70, 70, {}, {}, {}};  // all of them are 1, and the condition is 2^70
  for (int i = 1; i <= 70; ++i) {
    large_pivots.add(i, i, 1);
    if (i < 70) large_pivots.add(i, i + 1, -2);
  }
  expect_diagnosis(large_pivots, 69);
}

TEST(SparseSingular, BadUnitsAloneDoNotMakeASingularMatrix) {
  Random random(32);
  for (int round = 0; round < 20; ++round) {
    const Coordinates a = reference::badly_scaled(reference::random_square(20, 3, random), 24, random);
    Solver solver(a);
    SparseDiagnosis diagnosis;
    EXPECT_EQ(solver.Diagnose(&diagnosis), SparseStatus::NotFactorised);
    EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Factorised);
    EXPECT_EQ(solver.Diagnose(&diagnosis), SparseStatus::Factorised);
    EXPECT_EQ(diagnosis.structural_rank, 20);
    EXPECT_EQ(diagnosis.dependent_equations.count + diagnosis.unmatched_equations.count, 0);
  }
}

TEST(SparseSingular, ARefactorisationThatTurnedSingularIsNoticed) {
  Random random(33);
  int refactorised = 0;
  for (int round = 0; round < 600; ++round) {
    SCOPED_TRACE(round);
    const reference::HardMatrix matrix = reference::kinds::turned_singular(random);
    Solver solver(matrix.a, by(kMethods[round % 3]));
    Vector x = reference::random_vector(matrix.a.n, random);  // there is no solution for it
    if (solver.Factorise(matrix.earlier_values.data()) != SparseStatus::Factorised) continue;
    refactorised += solver.Refactorise(matrix.a.values.data()) == SparseStatus::Factorised;
    EXPECT_EQ(solver.Solve(x.data(), x.data()), SparseStatus::Singular);
  }
  EXPECT_GT(refactorised, 30);
}

// ---- Structure, with indices from either base

TEST(SparseSingular, ListsThePartsOfTheStructure) {
  // Unknowns 1 and 2 stand in one equation only, equations 3 to 5 hold two unknowns, and 2 is regular.
  const Coordinates a{5, 5, {1, 1, 2, 3, 3, 4, 4, 5}, {1, 2, 3, 4, 5, 4, 5, 5}, Vector(8, 1.0)};
  for (const int base : {0, 1}) {
    Solver solver(a, {}, base);
    SparseDiagnosis d;
    SparseBlocks blocks;
    EXPECT_EQ(solver.Diagnose(&d), SparseStatus::Singular);
    EXPECT_EQ(solver.Blocks(&blocks), SparseStatus::Singular);
    EXPECT_EQ(d.structural_rank, 4);
    EXPECT_EQ(list(d.overdetermined_equations), from_base({3, 4, 5}, base));
    EXPECT_EQ(list(d.overdetermined_unknowns), from_base({4, 5}, base));
    EXPECT_EQ(list(d.underdetermined_equations), from_base({1}, base));
    EXPECT_EQ(list(d.underdetermined_unknowns), from_base({1, 2}, base));
    expect_diagnosis(a, -1, SparseMethod::automatic, base);
  }
}

TEST(SparseSingular, BlocksAreTriangular) {
  Random random(35);
  const Coordinates a = reference::block_triangular_matrix({1, 4, 1, 3, 7}, random);
  for (const int base : {0, 1}) {
    Solver solver(a, {}, base);
    SparseBlocks blocks;
    ASSERT_EQ(solver.Blocks(&blocks), SparseStatus::Factorised);
    ASSERT_EQ(blocks.count, 5);
    Indices block_of_row(17), block_of_column(17);
    for (int block = 0; block < blocks.count; ++block)
      for (int place = blocks.begin[block]; place < blocks.begin[block + 1]; ++place) {
        block_of_row.at(blocks.row[place] + 1 - base) = block;
        block_of_column.at(blocks.column[place] + 1 - base) = block;
      }
    for (std::size_t k = 0; k < a.rows.size(); ++k)
      EXPECT_LE(block_of_row[a.rows[k]], block_of_column[a.columns[k]]);
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

TEST(SparseSingular, TinyEntriesDoNotMakeARegularMatrixSingular) {
  Random random(17);
  for (int round = 0; round < 60; ++round) {
    Coordinates a = reference::banded_matrix(20, 2, 2, random);
    for (int i = 1; i <= 17; ++i)  // scaling drifts where they are taken for the size of a row
      a.add(i, reference::number(random, i + 3, 20), std::pow(10.0, -reference::number(random, 30, 250)));
    Solver solver(a);
    EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Factorised) << round;
    EXPECT_LE(solver.Report().condition, 4.5e15);
    expect_solved(solver, a, reference::multiply(a, Vector(20, 1.0)));
  }
}

}  // namespace
}  // namespace solver_tests
