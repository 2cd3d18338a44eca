#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <vector>

#include "sparse/ma48/layout.h"
#include "sparse/ma48/ma48_routines.h"
#include "tests/support/sparse_matrices.h"

namespace {

using namespace reference;
using std::size_t;

/// Analysis, factors and solution of one matrix. Arrays have exactly the lengths that the routines ask for.
struct Solver {
  int m, n, ne, la;
  Vector a, values, w, cntl = Vector(5);
  std::vector<int> irn, jcn, keep, iw, icntl = std::vector<int>(9), info = std::vector<int>(12);
  double rinfo = 0.0;

  explicit Solver(const Coordinates& matrix)
      : m(matrix.m),
        n(matrix.n),
        ne(matrix.entries()),
        la(0),
        values(matrix.values),
        w(size_t(4 * std::max(m, n))),
        irn(matrix.rows),
        jcn(matrix.columns),
        keep(size_t(corvidnum::keep_length(m, n))),
        iw(size_t(6 * m + 3 * n), 1) {
    ma48id_(cntl.data(), icntl.data());
    resize(20 * ne + 4 * m * n + 100);
  }
  void resize(int length) {
    la = length;
    a.resize(size_t(la));
    irn.resize(size_t(la));
    jcn.resize(size_t(la));
    a.shrink_to_fit(), irn.shrink_to_fit(), jcn.shrink_to_fit();  // so that a sanitizer sees the ends
  }
  int analyse(int job) {
    std::copy(values.begin(), values.end(), a.begin());
    ma48ad_(&m, &n, &ne, &job, &la, a.data(), irn.data(), jcn.data(), keep.data(), cntl.data(), icntl.data(),
            iw.data(), info.data(), &rinfo);
    return info[0];
  }
  int factor(int job) {
    std::copy(values.begin(), values.end(), a.begin());
    ma48bd_(&m, &n, &ne, &job, &la, a.data(), irn.data(), jcn.data(), keep.data(), cntl.data(), icntl.data(),
            w.data(), iw.data(), info.data(), &rinfo);
    return info[0];
  }
  Vector solve(Vector b, int transposed) {
    Vector x(size_t(transposed ? m : n)), error(3);
    std::vector<int> status(12);
    const int job = 1;
    ma48cd_(&m, &n, &transposed, &job, &la, a.data(), irn.data(), keep.data(), cntl.data(), icntl.data(),
            b.data(), x.data(), error.data(), w.data(), iw.data(), status.data());
    EXPECT_EQ(status[0], 0);
    return x;
  }
  /// Columns that a later factorisation takes as they were: those of general blocks not left to last.
  std::vector<char> fixed_columns() {
    const corvidnum::KeepView<int> view(keep.data(), m, n);
    std::vector<char> fixed(size_t(n) + 1);
    for (int block = 1, j = 1; icntl[7] != 0 && block <= blocks(); ++block) {
      const int end = j + view.block_order(block), last = view.left_to_last(blocks(), block);
      const bool redone = view.block_kind(block) < 0 || last == 0;
      for (; j < end; ++j) fixed[size_t(view.column_at(j))] = !redone && j < end - last;
    }
    return fixed;
  }
  int& first_kind() { return corvidnum::KeepView<int>(keep.data(), m, n).block_kind(1); }
  int blocks() { return corvidnum::KeepView<int>(keep.data(), m, n).block_count(); }
};

/// Both systems are solved.
void expect_solved(Solver& solver, Coordinates matrix, Random& random) {
  matrix.values = solver.values;
  for (const int transposed : {0, 1}) {
    const Vector b = random_vector(matrix.n, random);
    EXPECT_LT(scaled_residual(matrix, solver.solve(b, transposed), b, transposed != 0), 1e-11) << transposed;
  }
}

Coordinates matrix_of_kind(int kind, Random& random) {
  const int n = number(random, 2, 40);
  switch (kind % 6) {
    case 0:
      return shuffled(banded_matrix(n, 2, 1, random), random);
    case 1:
      return block_triangular_matrix({1, 1, 5, 1, 8, 2, 1, 1, 3, 7}, random);
    case 2:
      return shuffled(column_matrix(6, 3, random), random);
    case 3:
      return shuffled(flowsheet_matrix(12, 4, random), random);
    case 4:
      return with_faulty_entries(block_triangular_matrix({4, 1, 1, 6, 9}, random), 5, 4, random);
    default:
      return block_triangular_matrix(std::vector<int>(size_t(n), 1), random);
  }
}

TEST(Factorisation, EveryJobSolvesInEveryBlockForm) {
  Random random(21);
  for (int trial = 0; trial < 240; ++trial) {
    const Coordinates matrix = matrix_of_kind(trial, random);
    SCOPED_TRACE(testing::Message() << "trial " << trial << ", order " << matrix.n);
    Solver solver(matrix);
    solver.icntl[5] = trial % 4 == 0 ? matrix.n : 1 + trial % 4;
    solver.icntl[7] = trial % 3 == 0;
    solver.cntl[1] = 0.5;  // columns left to last let elements grow
    if (solver.icntl[7]) {
      for (int j = 0; j < matrix.n; ++j) solver.iw[size_t(j)] = number(random, 0, 3);
    }
    ASSERT_GE(solver.analyse(1), 0);
    const std::vector<char> fixed = solver.fixed_columns();
    for (const int job : {1, 2, 3, 2, 3}) {
      ASSERT_EQ(solver.factor(job), 0) << "job " << job;
      EXPECT_EQ(solver.info[4], matrix.n);
      expect_solved(solver, matrix, random);
      for (size_t k = 0; k < matrix.values.size(); ++k) {
        if (!matrix.counts(k) || !fixed[size_t(matrix.columns[k])]) {
          solver.values[k] *= 1.0 + 0.05 * uniform(random);
        }
      }
    }
  }
}

TEST(Factorisation, EveryShortLengthReportsOneThatHelps) {
  Random random(22);
  for (int trial = 0; trial < 36; ++trial) {
    const Coordinates matrix = matrix_of_kind(trial, random);
    Solver analysed(matrix);
    ASSERT_GE(analysed.analyse(1), 0);
    ASSERT_EQ(analysed.factor(1), 0);
    const int enough = analysed.info[3];
    for (int length = 2 * matrix.entries(); length <= enough; ++length) {
      Solver solver = analysed;
      solver.resize(length);
      int attempts = 0;
      while (solver.factor(1) == -3) {
        ASSERT_GT(solver.info[3], solver.la);
        ASSERT_LT(++attempts, 20);
        EXPECT_EQ(solver.factor(2), -7);  // no factors to build on
        solver.resize(solver.info[3]);
      }
      ASSERT_EQ(solver.info[0], 0);
      expect_solved(solver, matrix, random);
      ASSERT_EQ(solver.factor(3), 0);
      expect_solved(solver, matrix, random);
    }
  }
}

TEST(Factorisation, TriangularBlockWithNullDiagonalBecomesGeneral) {
  Random random(23);
  const Coordinates matrix = block_triangular_matrix({1, 1, 1, 1, 1}, random);
  Solver solver(matrix);
  ASSERT_EQ(solver.analyse(1), 0);
  ASSERT_EQ(solver.first_kind(), -5);
  ASSERT_EQ(solver.factor(1), 0);
  for (size_t k = 0; k < matrix.values.size(); ++k) {  // diagonals are above 1
    if (matrix.values[k] > 1.0) solver.values[k] = 0.0;
  }
  EXPECT_EQ(solver.factor(2), -7);
  EXPECT_EQ(solver.factor(1), 2);
  EXPECT_EQ(solver.first_kind(), 5);
  EXPECT_LT(solver.info[4], 5);
  solver.values = matrix.values;
  for (const int job : {1, 2, 3}) {
    EXPECT_EQ(solver.factor(job), 0);
    expect_solved(solver, matrix, random);
  }
}

TEST(Factorisation, FailuresHaveTheirStatusAndLeaveARetryPossible) {
  Random random(24);
  const Coordinates matrix = block_triangular_matrix({6, 1, 1, 7, 5}, random);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Solver fresh(matrix);
  ASSERT_EQ(fresh.analyse(1), 0);
  const auto status = [&](auto change, int job) {
    Solver solver = fresh;
    EXPECT_EQ(solver.factor(1), 0);
    change(solver);
    return solver.factor(job);
  };
  EXPECT_EQ(status([](Solver& s) { s.m = 0; }, 1), -1);
  EXPECT_EQ(status([](Solver& s) { s.ne = -3; }, 1), -2);
  EXPECT_EQ(status([](Solver& s) { s.la = 2 * s.ne - 1; }, 1), -3);
  EXPECT_EQ(status([](Solver&) {}, 0), -6);
  EXPECT_EQ(status([](Solver&) {}, 4), -6);
  EXPECT_EQ(status([](Solver& s) { std::fill(s.values.begin(), s.values.end(), 0.0); }, 2), -7);
  EXPECT_EQ(status([](Solver& s) { std::fill(s.values.begin(), s.values.end(), 0.0); }, 1), 2);
  EXPECT_EQ(status([&](Solver& s) { std::fill(s.values.begin(), s.values.end(), nan); }, 1), 2);
  EXPECT_EQ(status([&](Solver& s) { std::fill(s.values.begin(), s.values.end(), nan); }, 2), -7);
  EXPECT_EQ(status([](Solver& s) { s.cntl[2] = 0.3, s.factor(1); }, 2), -6);
  EXPECT_EQ(status([](Solver& s) { s.cntl[2] = 0.3, s.factor(1); }, 3), -6);
  Solver retried = fresh;
  ASSERT_EQ(retried.factor(1), 0);
  retried.values.assign(retried.values.size(), 0.0);
  EXPECT_EQ(retried.factor(2), -7);
  retried.values = matrix.values;
  for (const int job : {2, 1}) {
    EXPECT_EQ(retried.factor(job), 0);
    expect_solved(retried, matrix, random);
  }
  // KEEP as no analysis leaves it: each element in turn is far off.
  for (size_t k = 0; k < fresh.keep.size(); ++k) {
    for (const int job : {1, 2, 3}) {
      for (const int value : {-2147483647 - 1, 0, 2147483647}) {
        status([&](Solver& s) { s.keep[k] = value; }, job);  // ends, inside of its arrays
      }
    }
  }
}

TEST(Factorisation, RectangularAndDeficientMatricesHaveTheirRank) {
  Random random(25);
  for (int trial = 0; trial < 80; ++trial) {
    const int m = number(random, 1, 15), n = number(random, 1, 15);
    const Coordinates matrix =
        shuffled(low_rank_matrix(m, n, number(random, 1, std::min(m, n)), random), random);
    Solver solver(matrix);
    solver.cntl[3] = 1e-9;
    solver.icntl[6] = 0;
    const int rank = dense_rank(dense(matrix));
    ASSERT_GE(solver.analyse(1), 0);
    for (const int job : {1, 3}) {
      EXPECT_EQ(solver.factor(job), rank < std::min(m, n) ? 2 : 0) << m << " x " << n;
      EXPECT_EQ(solver.info[4], rank);
    }
  }
}

}  // namespace
