#include "dense/regular_matrix.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <utility>
#include <vector>

#include "host/corvid_host.h"
#include "tests/support/dense_reference.h"

namespace {

using namespace reference;

/// Matrices of this condition and norm; from `zeros` n on the columns are zero.
constexpr struct {
  const char* name;
  double condition, norm, zeros;
} kKinds[] = {{"plain", 1e2, 1.0, 1.0},           {"nearly singular", 1e14, 1e10, 1.0},
              {"near overflow", 1e2, 1e150, 1.0}, {"near underflow", 1e2, 1e-150, 1.0},
              {"zero last half", 1e2, 1.0, 0.5},  {"all zero", 1e2, 1.0, 0.0}};

void fill(Matrix& matrix, const Dense& a) {
  for (int k = 0; k < a.rows * a.cols; ++k) matrix(k % a.rows, k / a.rows) = a(k % a.rows, k / a.rows);
}

TEST(RegularMatrix, SolvesUpToRoundingOrTellsTheFailure) {
  Random random(3);
  for (const auto& kind : kKinds) {
    for (const int n : {0, 1, 2, 3, 5, 10, 50}) {
      SCOPED_TRACE(testing::Message() << kind.name << ", n = " << n);
      const int first_zero = static_cast<int>(kind.zeros * n);
      const int failure = kind.norm < 1e-8 && n > 0 ? 1 : first_zero < n ? first_zero + 1 : 0;
      const Dense a =
          with_zero_columns(scaled(of_condition(n, kind.condition, random), kind.norm), first_zero, n - 1);
      const Matrix::ErrorCode code = failure > 0 ? Matrix::MatrixFailed : Matrix::MatrixOK;
      RegularMatrix matrix(n, n);
      Vector b = random_vector(n, random), x(b.size(), 7.0);
      const Vector b_before = b, x_before = x;
      fill(matrix, a);
      int info = 99;
      EXPECT_EQ(matrix.Solve(x.data(), b.data(), info), code);
      EXPECT_EQ(info, 99) << "not written on any path";
      EXPECT_EQ(b, b_before);
      if (code == Matrix::MatrixOK) {
        EXPECT_LT(solve_ratio(a, x, b), kRatioLimit);
        EXPECT_EQ(matrix.BackSub(b.data(), b.data()), code);
        EXPECT_EQ(b, x) << "in place";
      } else {
        EXPECT_EQ(x, x_before);
      }
      fill(matrix, a);
      EXPECT_EQ(matrix.FactorLU(info), code);
      EXPECT_EQ(info, failure);
    }
  }
}

TEST(RegularMatrix, AccessOutsideSharesOneDouble) {
  RegularMatrix matrix(2, 3), other(1, 1);
  matrix(1, 2) = 12.0;
  double* const outside = matrix.Address(-1, 0);
  for (const auto& [row, col] : {std::pair{0, -1}, {2, 0}, {0, 3}, {INT_MIN, INT_MAX}}) {
    EXPECT_EQ(&matrix(row, col), outside);
    EXPECT_EQ(other.Address(row, col), outside);
  }
  EXPECT_EQ(matrix.Address(1, 2), &matrix(0, 0) + 5) << "column order";
  EXPECT_EQ(matrix(1, 2), 12.0);
  matrix.ZeroElements();
  EXPECT_EQ(matrix(1, 2), 0.0);
}

TEST(RegularMatrix, PermutationInfoFollowsTheInterchangesUpToThePlace) {
  RegularMatrix matrix(3, 3);
  const auto places = [&] {
    std::vector<int> found;
    for (const int i : {0, 1, 2, -1, 3, INT_MAX, INT_MIN}) found.push_back(matrix.PermutationInfo(i));
    return found;
  };
  EXPECT_EQ(places(), (std::vector<int>{1, 2, 3, -1, -1, -1, -1}));
  matrix(2, 0) = matrix(0, 1) = matrix(1, 2) = 1.0;  // interchanged in the places (0, 2) and (1, 2)
  ASSERT_EQ(matrix.FactorLU(), Matrix::MatrixOK);
  const std::vector<int> interchanged = {3, 1, 2, -1, -1, -1, -1};
  EXPECT_EQ(places(), interchanged);
  matrix.ZeroElements();
  EXPECT_EQ(places(), interchanged) << "kept";
}

TEST(RegularMatrix, BackSubRefusesFewerRowsThanColumnsAndNull) {
  Vector b(50, 1.0), x(50, 0.0);
  for (const auto& [rows, cols] : {std::pair{2, 3}, {0, 1}, {1, 50}}) {
    RegularMatrix matrix(rows, cols);
    testing::internal::CaptureStdout();
    EXPECT_EQ(matrix.BackSub(x.data(), b.data()), Matrix::MatrixFailed);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "** On entry to DGETRS, parameter number  5 had an illegal value\n");
  }
  RegularMatrix matrix(2, 2);
  EXPECT_EQ(matrix.BackSub(nullptr, b.data()), Matrix::MatrixFailed);
  EXPECT_EQ(matrix.BackSub(x.data(), nullptr), Matrix::MatrixFailed);
}

TEST(RegularMatrix, StrangeSizesAreHarmless) {
  testing::internal::CaptureStdout();  // the reports of illegal arguments
  for (const auto& [rows, cols] : {std::pair{-1, 3}, {3, -1}, {0, 4}, {4, 0}, {INT_MIN, INT_MIN}}) {
    RegularMatrix matrix(rows, cols);
    EXPECT_EQ(matrix.Valid(), 1) << rows << " x " << cols;
    use_everything(matrix);
  }
  RegularMatrix huge(1 << 20, 1 << 20);  // the product is 0 in 32 bits
  EXPECT_EQ(huge.Valid(), 0);
  use_everything(huge);
  testing::internal::GetCapturedStdout();
}

TEST(RegularMatrix, RefusedMemoryClearsValidAndNothingLeaks) {
  const auto live = corvid_host::LiveBlocks();
  for (const int refused : {1, 2}) {
    corvid_host::FailAllocation(refused);
    RegularMatrix matrix(3, 3);
    corvid_host::StopFailing();
    EXPECT_EQ(matrix.Valid(), 0);
    EXPECT_EQ(use_everything(matrix), Matrix::MatrixFailed);
  }
  {
    RegularMatrix healthy(2, 2);
    corvid_host::FailAllocationsFrom(1);
    EXPECT_EQ(healthy.PermutationInfo(0), -1);
    EXPECT_EQ(new RegularMatrix(3, 3), nullptr);
    corvid_host::StopFailing();
  }
  EXPECT_EQ(corvid_host::LiveBlocks(), live);
}

/// Calls by the place in the table of virtual operations, as hosts do: two for the destructor come first.
template <class Result, class... Arguments>
Result call(Matrix& matrix, int place, Arguments... arguments) {
  void** const table = *reinterpret_cast<void***>(&matrix);
  return reinterpret_cast<Result (*)(Matrix*, Arguments...)>(table[place + 1])(&matrix, arguments...);
}

TEST(RegularMatrix, VirtualOperationsKeepTheirPlaces) {
  RegularMatrix matrix(1, 1);
  matrix(0, 0) = 2.0;
  double x = 0.0, b = 6.0;
  int info = 0;
  EXPECT_EQ(call<unsigned char>(matrix, 1), 1);
  EXPECT_EQ(call<Matrix::ErrorCode>(matrix, 2, &x, &b, &info), Matrix::MatrixOK);
  EXPECT_EQ(x, 3.0);
  call<void>(matrix, 3);
  EXPECT_EQ(matrix(0, 0), 0.0);
  EXPECT_EQ(call<double*>(matrix, 4, 0, 0), &matrix(0, 0));
  EXPECT_EQ(&call<double&>(matrix, 5, 0, 0), &matrix(0, 0));
}

}  // namespace
