// The road from a matrix to its solution through the three exported routines, all arrays of just the length
// that is documented.

#include <gtest/gtest.h>

#include <limits>

#include "sparse/ma48/ma48_routines.h"
#include "tests/support/sparse_matrices.h"

using namespace reference;

namespace {

std::size_t size(int count) { return static_cast<std::size_t>(count); }

struct Solver {
  int m, n, ne, la, one = 1;
  double cntl[5], rinfo = 0.0, error[3] = {-1.0, -1.0, -1.0};
  int icntl[9], info[12] = {};
  Vector a, w;
  std::vector<int> irn, jcn, keep, iw, solveIw;

  explicit Solver(const Coordinates& matrix) : m(matrix.m), n(matrix.n), ne(matrix.entries()), la(2 * ne) {
    ma48id_(cntl, icntl);
    keep.resize(size(m + 5 * n + 4 * std::min(m, n) + 7));
    iw.resize(size(6 * m + 3 * n));
    w.resize(size(4 * std::max(m, n)));
    solveIw.resize(size(std::max(m, n)));
  }

  /// INFO(1) of the last call made; grows as the routines ask.
  int factorise(const Coordinates& matrix) {
    for (int attempt = 0; attempt < 10; ++attempt) {
      a = matrix.values, irn = matrix.rows, jcn = matrix.columns;
      a.resize(size(la)), irn.resize(size(la)), jcn.resize(size(la));
      ma48ad_(&m, &n, &ne, &one, &la, a.data(), irn.data(), jcn.data(), keep.data(), cntl, icntl, iw.data(),
              info, &rinfo);
      const int needed = std::max(info[2], info[3]);
      if (info[0] != -3) {
        if (info[0] < 0) return info[0];
        std::copy(matrix.values.begin(), matrix.values.end(), a.begin());
        ma48bd_(&m, &n, &ne, &one, &la, a.data(), irn.data(), jcn.data(), keep.data(), cntl, icntl, w.data(),
                iw.data(), info, &rinfo);
        if (info[0] != -3) return info[0];
      }
      la = std::max({la + 1, needed, info[3]});
    }
    return -3;
  }

  Vector solve(int trans, int job, Vector b) {
    Vector x(size(trans == 0 ? n : m), 77.0);
    ma48cd_(&m, &n, &trans, &job, &la, a.data(), irn.data(), keep.data(), cntl, icntl, b.data(), x.data(),
            error, w.data(), solveIw.data(), info);
    return x;
  }
};

std::vector<Coordinates> regular_matrices() {
  Random random(21);
  std::vector<Coordinates> result = {Coordinates{1, 1, {1}, {1}, {4.0}},
                                     banded_matrix(40, 2, 3, random),
                                     block_triangular_matrix({1, 5, 1, 1, 12, 3}, random),
                                     block_triangular_matrix({1, 1, 1, 1}, random),
                                     column_matrix(12, 4, random),
                                     shuffled(column_matrix(25, 3, random), random),
                                     shuffled(flowsheet_matrix(20, 5, random), random)};
  result.push_back(with_faulty_entries(result[6], 10, 4, random));
  for (int n = 5; n <= 40; n += 7) {
    Coordinates a = random_matrix(n, n, 3.0 / n, random);
    for (int i = 1; i <= n; ++i) a.add(i, n + 1 - i, 3.0 + uniform(random));
    result.push_back(a);
  }
  return result;
}

TEST(Solve, RegularSystems) {
  Random random(22);
  for (const Coordinates& a : regular_matrices()) {
    for (const int smallestBlock : {1, a.n}) {  // the second turns the block form off
      for (const int denseBlockSize : {32, 1, 0}) {
        Solver solver(a);
        solver.icntl[5] = smallestBlock;
        solver.icntl[4] = denseBlockSize;
        ASSERT_GE(solver.factorise(a), 0);
        for (int job = 1; job <= 4; ++job) {
          for (const int trans : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "n " << a.n << " job " << job << " trans " << trans
                                            << " blocks from " << smallestBlock);
            const Vector truth = random_vector(a.n, random), b = multiply(a, truth, trans != 0);
            const Vector x = solver.solve(trans, job, b);
            EXPECT_EQ(solver.info[0], 0);
            EXPECT_LT(scaled_residual(a, x, b, trans != 0), 1e-12);
            if (job == 1) continue;
            EXPECT_LT(solver.error[0] + solver.error[1], 1e-12);
            if (job < 4) {
              EXPECT_EQ(solver.error[2], 0.0);
            }
          }
        }
      }
    }
  }
}

TEST(Solve, BadlyScaledSystems) {
  Random random(28);
  for (int trial = 0; trial < 20; ++trial) {
    const Coordinates a = badly_scaled(column_matrix(12, 4, random), 6.0, random);
    Solver solver(a);
    ASSERT_EQ(solver.factorise(a), 0);
    for (const int trans : {0, 1}) {
      const Vector b = multiply(a, random_vector(a.n, random), trans != 0), x = solver.solve(trans, 1, b);
      // By norms: the pivot threshold is one of columns, so a row of small entries may fare worse.
      const Vector product = multiply(a, x, trans != 0);
      double residual = 0.0;
      for (std::size_t i = 0; i < b.size(); ++i) residual = std::max(residual, std::fabs(b[i] - product[i]));
      EXPECT_LT(residual, 1e-12 * (norm1(dense(a)) * norm1(x) + norm1(b)));
    }
  }
}

TEST(Solve, BackwardErrorIsThatOfTheSolution) {
  Random random(23);
  const Coordinates a = shuffled(flowsheet_matrix(20, 5, random), random);
  Solver solver(a);
  ASSERT_EQ(solver.factorise(a), 0);
  for (double& value : solver.a) value *= 1.0 + 1e-6 * uniform(random);  // matrix and factors disagree
  Coordinates changed = a;
  for (std::size_t k = 0; k < changed.values.size(); ++k)
    changed.values[k] = solver.a[size(solver.jcn[k] - 1)];
  for (const int trans : {0, 1}) {
    const Vector b = random_vector(a.n, random), x = solver.solve(trans, 2, b);
    EXPECT_NEAR(solver.error[0] / scaled_residual(changed, x, b, trans != 0), 1.0, 1e-6);
    EXPECT_GT(solver.error[0], 1e-9);
    EXPECT_EQ(solver.error[1], 0.0);
    // The first solution stands: a correction alone has the greater error.
    EXPECT_EQ(solver.solve(trans, 3, b), x);
    EXPECT_EQ(solver.info[0], 0);
    EXPECT_NEAR(solver.error[0] / scaled_residual(changed, x, b, trans != 0), 1.0, 1e-6);
    solver.icntl[8] = 1;
    EXPECT_EQ(solver.solve(trans, 3, b), x);
    EXPECT_EQ(solver.info[0], -8);
    solver.icntl[8] = 0;
    EXPECT_EQ(solver.solve(trans, 2, b), Vector(size(a.n)));
    EXPECT_EQ(solver.info[0], -8);
    solver.icntl[8] = 10;
  }
}

TEST(Solve, ForwardErrorIsBounded) {
  Random random(24);
  for (int trial = 0; trial < 40; ++trial) {
    Coordinates a = shuffled(column_matrix(10, 3, random), random);
    Solver solver(a);
    ASSERT_EQ(solver.factorise(a), 0);
    for (double& value : solver.a) value *= 1.0 + 1e-7 * uniform(random);
    for (std::size_t k = 0; k < a.values.size(); ++k) a.values[k] = solver.a[size(solver.jcn[k] - 1)];
    const int trans = trial % 2;
    const Vector truth = random_vector(a.n, random);
    const Vector x = solver.solve(trans, 4, multiply(a, truth, trans != 0));
    EXPECT_EQ(solver.info[0], 0);
    double error = 0.0, largest = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
      error = std::max(error, std::fabs(x[i] - truth[i]));
      largest = std::max(largest, std::fabs(x[i]));
    }
    EXPECT_GT(solver.error[2] * 10.0, error / largest);
    EXPECT_LT(solver.error[2], 1e3 * error / largest);  // not a bound that is always true
  }
}

TEST(Solve, RectangularAndDeficientSystems) {
  Random random(25);
  for (const auto& shape : {std::pair<int, int>{12, 7}, {7, 12}, {30, 8}, {8, 30}, {1, 5}, {5, 1}, {9, 9}}) {
    for (const double density : {0.15, 0.4, 1.0}) {
      for (int trial = 0; trial < 30; ++trial) {
        const Coordinates a = random_matrix(shape.first, shape.second, density, random);
        if (a.entries() == 0) continue;
        Solver solver(a);
        solver.icntl[6] = 0;  // a singular matrix too
        ASSERT_GE(solver.factorise(a), 0);
        EXPECT_EQ(solver.info[4], dense_rank(dense(a)));
        for (const int trans : {0, 1}) {
          const int unknowns = trans == 0 ? a.n : a.m;
          const Vector b = multiply(a, random_vector(unknowns, random), trans != 0);
          for (const int job : {1, 3, 4}) {
            EXPECT_LT(scaled_residual(a, solver.solve(trans, job, b), b, trans != 0), 1e-9)
                << a.m << " x " << a.n << " trans " << trans << " job " << job << " trial " << trial;
            if (a.m != a.n || job < 4) {
              EXPECT_EQ(solver.error[2], 0.0);
            }
          }
        }
      }
    }
  }
}

TEST(Solve, StatusOfFaultyCalls) {
  Random random(26);
  const Coordinates a = column_matrix(5, 2, random);
  Solver solver(a);
  ASSERT_EQ(solver.factorise(a), 0);
  const Vector b = random_vector(a.n, random), untouched(b.size(), 77.0);
  for (const int job : {0, 5}) {
    EXPECT_EQ(solver.solve(0, job, b), untouched);
    EXPECT_EQ(solver.info[0], -6);
  }
  for (const std::size_t broken : {std::size_t{0}, size(a.m), size(a.m + a.n), size(a.m + 3 * a.n + 1),
                                   size(a.m + 5 * a.n + 2), size(a.m + 5 * a.n + 4)}) {
    Solver copy = solver;
    copy.keep[broken] = std::numeric_limits<int>::max();
    EXPECT_EQ(copy.solve(0, 1, b), untouched) << broken;
    EXPECT_EQ(copy.info[0], -7);
  }
  solver.n = 0;
  EXPECT_EQ(solver.solve(1, 1, b), Vector(size(a.m), 77.0));
  EXPECT_EQ(solver.info[0], -1);
}

TEST(Solve, NotANumberEndsAndShows) {
  Random random(27);
  const Coordinates a = column_matrix(5, 2, random);
  Solver solver(a);
  ASSERT_EQ(solver.factorise(a), 0);
  Vector b = random_vector(a.n, random);
  b[3] = std::nan("");
  solver.icntl[8] = std::numeric_limits<int>::max();
  for (int job = 2; job <= 4; ++job) {
    solver.solve(0, job, b);
    EXPECT_TRUE(std::isnan(solver.error[0] + solver.error[1]));
    EXPECT_EQ(solver.info[0], job == 2 ? 0 : -8);
  }
}

}  // namespace
