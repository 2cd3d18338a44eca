#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "tests/dense/textbook.h"

namespace {

using namespace reference;

void expect_textbook_result(const Dense& a) { EXPECT_EQ(difference_from_textbook(a), ""); }

TEST(DenseLu, EqualsTheTextbookToTheLastBit) {
  Random random(2);
  Dense scalar(1, 1);
  for (const double pivot : {1e-8, std::nextafter(1e-8, 1.0), -1.1e-8}) {  // at the tolerance and above
    scalar(0, 0) = pivot;
    expect_textbook_result(scalar);
  }
  for (const int m : {0, 1, 2, 3, 4, 5, 7, 8, 9, 50}) {
    for (const int n : {0, 1, 2, 3, 4, 5, 7, 8, 9, 50}) {
      SCOPED_TRACE(std::to_string(m) + " x " + std::to_string(n));
      Dense a = random_dense(m, n, random);
      expect_textbook_result(a);
      if (m == 0 || n == 0) continue;
      const int failing = number(random, 0, n - 1);
      for (int i = 0; i < m; ++i) a(i, failing) *= 1e-9;
      expect_textbook_result(a);
      for (const double poison : {0.0, HUGE_VAL, std::nan("")}) {
        for (int trial = 0; trial < 4; ++trial) {
          Dense poisoned = a;
          poisoned(number(random, 0, m - 1), number(random, 0, n - 1)) = poison;
          expect_textbook_result(poisoned);
        }
      }
    }
  }
}

TEST(DenseLu, ReportsIllegalArguments) {
  const struct {
    int m, n, lda, parameter;
  } kCalls[] = {{-1, -1, 0, 1}, {2, -1, 0, 2}, {2, 2, 1, 4}, {0, 0, 0, 4}, {0, 5, 1, 0}};
  for (const auto& call : kCalls) {
    int info = 99;
    testing::internal::CaptureStdout();
    corvidnum::dgetrf_tol(&call.m, &call.n, nullptr, &call.lda, nullptr, &info);
    const std::string line = "** On entry to DGETF2, parameter number  " + std::to_string(call.parameter) +
                             " had an illegal value\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), call.parameter > 0 ? line : "");
    EXPECT_EQ(info, -call.parameter);
  }
}

}  // namespace
