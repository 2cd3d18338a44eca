#include "dense/regular_matrix.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "host/corvid_host.h"
#include "tests/support/dense_reference.h"

namespace {

using namespace reference;

void fill(Matrix& matrix, const Dense& a) {
  for (int j = 0; j < a.cols; ++j) {
    for (int i = 0; i < a.rows; ++i) matrix(i, j) = a(i, j);
  }
}

TEST(RegularMatrix, SolvesUpToRoundingOrTellsTheFailure) {
  Random random(3);
  for (const MatrixKind& kind : kKinds) {
    for (const int n : kSizes) {
      SCOPED_TRACE(std::string(kind.name) + ", n = " + std::to_string(n));
      const Dense a = kind.make(n, random);
      const bool failing = n > 0 && kind.first_failure(n) > 0;
      RegularMatrix matrix(n, n);
      Vector b = random_vector(n, random), x(b.size(), 7.0);
      const Vector b_before = b;

      fill(matrix, a);
      int info = 99;
      EXPECT_EQ(matrix.Solve(x.data(), b.data(), info), failing ? Matrix::MatrixFailed : Matrix::MatrixOK);
      EXPECT_EQ(info, 99) << "not written on any path";
      EXPECT_EQ(b, b_before);
      if (failing) {
        EXPECT_EQ(x, Vector(b.size(), 7.0));
      } else {
        EXPECT_LT(solve_ratio(a, x, b), kRatioLimit);
        EXPECT_EQ(matrix.BackSub(b.data(), b.data()), Matrix::MatrixOK);
        EXPECT_EQ(b, x) << "in place";
      }

      fill(matrix, a);
      matrix.FactorLU(info);
      EXPECT_EQ(info, n > 0 ? kind.first_failure(n) : 0);
    }
  }
}

TEST(RegularMatrix, PivotLimitIsAbsoluteAndStrict) {
  const struct {
    double pivot;
    Matrix::ErrorCode code;
  } kPivots[] = {
      {1e-8, Matrix::MatrixFailed},
      {-1e-8, Matrix::MatrixFailed},
      {std::nextafter(1e-8, 1.0), Matrix::MatrixOK},
      {-1.1e-8, Matrix::MatrixOK},
      {0.0, Matrix::MatrixFailed},
      {std::nan(""), Matrix::MatrixFailed},
      {HUGE_VAL, Matrix::MatrixOK},
  };
  for (const auto& c : kPivots) {
    RegularMatrix matrix(1, 1);
    matrix(0, 0) = c.pivot;
    EXPECT_EQ(matrix.FactorLU(), c.code) << c.pivot;
  }
}

TEST(RegularMatrix, AccessOutsideSharesOneDouble) {
  RegularMatrix matrix(2, 3), other(1, 1);
  for (int i = 0; i < 2; ++i) {
    for (int j = 0; j < 3; ++j) matrix(i, j) = 10 * i + j;
  }
  double* const outside = matrix.Address(-1, 0);
  *outside = 5.0;
  for (const auto& [row, col] : {std::pair{0, -1}, {2, 0}, {0, 3}, {INT_MIN, INT_MAX}}) {
    EXPECT_EQ(&matrix(row, col), outside);
    EXPECT_EQ(other.Address(row, col), outside);
  }
  EXPECT_EQ(matrix(-1, 0), 5.0);
  *outside = 0.0;
  EXPECT_EQ(matrix.Address(1, 2), &matrix(0, 0) + 5) << "column order";
  EXPECT_EQ(matrix(1, 2), 12.0);
  matrix.ZeroElements();
  EXPECT_EQ(matrix(1, 2), 0.0);
}

TEST(RegularMatrix, PermutationInfoFollowsTheInterchangesUpToThePlace) {
  constexpr int n = 8;
  Random random(4);
  const Dense a = random_dense(n, n, random);
  RegularMatrix matrix(n, n);
  for (int i = 0; i < n; ++i) EXPECT_EQ(matrix.PermutationInfo(i), i + 1) << "before the factorisation";
  fill(matrix, a);
  ASSERT_EQ(matrix.FactorLU(), Matrix::MatrixOK);

  Dense factors = a;
  std::vector<int> pivots(n), row(n);
  textbook_lu(factors, pivots, 1e-8);
  std::iota(row.begin(), row.end(), 1);
  for (std::size_t i = 0; i < n; ++i) {
    std::swap(row[i], row[static_cast<std::size_t>(pivots[i] - 1)]);
    EXPECT_EQ(matrix.PermutationInfo(static_cast<int>(i)), row[i]);
  }
  for (const int i : {-1, n, INT_MAX, INT_MIN}) EXPECT_EQ(matrix.PermutationInfo(i), -1);
}

TEST(RegularMatrix, BackSubRefusesFewerRowsThanColumns) {
  for (const auto& [rows, cols] : {std::pair{2, 3}, {0, 1}, {1, 50}}) {
    RegularMatrix matrix(rows, cols);
    Vector b(50, 1.0), x(50, 0.0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(matrix.BackSub(x.data(), b.data()), Matrix::MatrixFailed);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "** On entry to DGETRS, parameter number  5 had an illegal value\n");
  }
}

/// Calls everything there is at places of all kinds. @return the code of the solution
Matrix::ErrorCode use_everything(RegularMatrix& matrix) {
  Vector x(8, 1.0), b(8, 1.0);
  int info = 0;
  matrix.ZeroElements();
  for (const int i : {-1, 0, 1, 7, INT_MAX}) {
    for (const int j : {-1, 0, 1, 7, INT_MAX}) *matrix.Address(i, j) = 0.0;
    matrix.PermutationInfo(i);
  }
  matrix.FactorLU(info);
  matrix.BackSub(x.data(), b.data());
  return matrix.Solve(x.data(), b.data(), info);
}

TEST(RegularMatrix, StrangeSizesAreHarmless) {
  testing::internal::CaptureStdout();  // the reports of illegal arguments
  constexpr int kMany = 1 << 20;       // its square is 0 in 32 bits
  const struct {
    int rows, cols;
    int valid;
  } kSizesOfObject[] = {
      {-1, 3, 1}, {3, -1, 1}, {-2, -2, 1}, {0, 4, 1}, {4, 0, 1}, {INT_MIN, INT_MIN, 1}, {kMany, kMany, 0}};
  for (const auto& size : kSizesOfObject) {
    RegularMatrix matrix(size.rows, size.cols);
    EXPECT_EQ(matrix.Valid(), size.valid) << size.rows << " x " << size.cols;
    EXPECT_LT(corvid_host::LiveBytes(), 1 << 23);
    use_everything(matrix);
  }
  testing::internal::GetCapturedStdout();
}

TEST(RegularMatrix, RefusedMemoryClearsValidAndNothingLeaks) {
  for (const int refused : {1, 2}) {
    const auto live = corvid_host::LiveBlocks();
    {
      corvid_host::FailAllocation(refused);
      RegularMatrix matrix(3, 3);
      corvid_host::StopFailing();
      EXPECT_EQ(matrix.Valid(), 0);
      matrix(0, 0) = 1.0;
      matrix(1, 1) = 2.0;
      EXPECT_EQ(matrix(0, 0), refused == 2 ? 1.0 : 2.0) << "elements are there if they were not refused";
      EXPECT_EQ(use_everything(matrix), Matrix::MatrixFailed);
    }
    corvid_host::FailAllocation(1);
    EXPECT_EQ(new RegularMatrix(3, 3), nullptr);
    RegularMatrix healthy(2, 2);
    EXPECT_EQ(healthy.Valid(), 1);
    corvid_host::FailAllocation(1);
    EXPECT_EQ(healthy.PermutationInfo(0), -1);
    corvid_host::StopFailing();
    EXPECT_EQ(corvid_host::LiveBlocks(), live + 2);
  }
}

TEST(RegularMatrix, ZeroElementsKeepsThePivotsAndNullVectorsAreRefused) {
  RegularMatrix matrix(2, 2);
  matrix(0, 1) = matrix(1, 0) = 1.0;
  ASSERT_EQ(matrix.FactorLU(), Matrix::MatrixOK);
  double x[2] = {}, b[2] = {};
  EXPECT_EQ(matrix.BackSub(nullptr, b), Matrix::MatrixFailed);
  EXPECT_EQ(matrix.BackSub(x, nullptr), Matrix::MatrixFailed);
  matrix.ZeroElements();
  EXPECT_EQ(matrix.PermutationInfo(0), 2);
}

/// Hosts call by the place in the table: two for the destructor, then the operations.
TEST(RegularMatrix, VirtualOperationsKeepTheirPlaces) {
  RegularMatrix matrix(1, 1);
  Matrix* const object = &matrix;
  void** const table = *reinterpret_cast<void***>(object);
  const auto place = [&](int i) { return table[i + 1]; };
  matrix(0, 0) = 2.0;
  double x = 0.0, b = 6.0;
  int info = 0;
  EXPECT_EQ(reinterpret_cast<unsigned char (*)(Matrix*)>(place(1))(object), 1);
  EXPECT_EQ(reinterpret_cast<Matrix::ErrorCode (*)(Matrix*, double*, double*, int&)>(place(2))(object, &x, &b,
                                                                                               info),
            Matrix::MatrixOK);
  EXPECT_EQ(x, 3.0);
  reinterpret_cast<void (*)(Matrix*)>(place(3))(object);
  EXPECT_EQ(matrix(0, 0), 0.0);
  EXPECT_EQ(reinterpret_cast<double* (*)(Matrix*, int, int)>(place(4))(object, 0, 0), &matrix(0, 0));
  EXPECT_EQ(&reinterpret_cast<double& (*)(Matrix*, int, int)>(place(5))(object, 0, 0), &matrix(0, 0));
}

}  // namespace
