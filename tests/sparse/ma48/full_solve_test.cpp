// The dense solve, on factors of the dense factorisation, judged by consistent systems.

#include <gtest/gtest.h>

#include "sparse/ma48/kernels.h"
#include "tests/support/sparse_matrices.h"

using namespace reference;

namespace {

struct Shape {
  int m, n, rank;
};

Dense transpose(const Dense& a) {
  Dense result(a.cols, a.rows);
  for (int j = 0; j < a.cols; ++j) {
    for (int i = 0; i < a.rows; ++i) result(j, i) = a(i, j);
  }
  return result;
}

Vector product(const Dense& a, const Vector& x) {
  Vector y(static_cast<std::size_t>(a.rows));
  for (int j = 0; j < a.cols; ++j) {
    for (int i = 0; i < a.rows; ++i)
      y[static_cast<std::size_t>(i)] += a(i, j) * x[static_cast<std::size_t>(j)];
  }
  return y;
}

class FullSolve : public testing::TestWithParam<Shape> {};

TEST_P(FullSolve, SolvesConsistentSystemsBothWays) {
  const Shape shape = GetParam();
  Random random(7);
  const Dense a = dense(low_rank_matrix(shape.m, shape.n, shape.rank, random));
  const double tolerance = 1e-10;
  for (const int blockSize : {-3, 0, 1, 32}) {
    Dense factors = a;
    std::vector<int> pivots(static_cast<std::size_t>(shape.n));
    int rank = 0;
    const int panel = 4;
    corvidnum::ma50_full_factor3(&shape.m, &shape.n, factors.values.data(), &shape.m, &panel, &tolerance,
                                 pivots.data(), &rank);
    ASSERT_EQ(rank, shape.rank);
    for (const int trans : {0, 1}) {
      const Dense original = trans == 0 ? a : transpose(a);
      Vector b = product(original, random_vector(original.cols, random));
      const Vector rightHandSide = b;
      b.resize(static_cast<std::size_t>(std::max(shape.m, shape.n)), 99.0);
      corvidnum::ma50_full_solve(&trans, &shape.m, &shape.n, factors.values.data(), &shape.m, pivots.data(),
                                 b.data(), &blockSize);
      b.resize(static_cast<std::size_t>(original.cols));
      EXPECT_LT(solve_ratio(original, b, rightHandSide), 1e4) << "trans " << trans << " by " << blockSize;
      EXPECT_LE(original.cols - std::count(b.begin(), b.end(), 0.0), shape.rank);  // a basic solution
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, FullSolve,
                         testing::Values(Shape{1, 1, 1}, Shape{9, 9, 9}, Shape{9, 9, 5}, Shape{12, 7, 7},
                                         Shape{7, 12, 7}, Shape{12, 7, 3}, Shape{7, 12, 3}, Shape{4, 5, 0},
                                         Shape{40, 40, 37}));

}  // namespace
