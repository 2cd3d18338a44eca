#include <gtest/gtest.h>

#include <thread>

#include "corvidnum.h"
#include "frame/blas.h"
#include "host/corvid_host.h"
#include "tests/support/float_state.h"

namespace {

using test_support::float_state;

/// One call of every kind of exported operation.
void use_everything() {
  const int n = 2, one = 1, selector = 4;
  double x[4] = {1, 2, 3, 4};
  double b[4] = {5, 6, 7, 8};
  ddot_(&n, x, &one, b, &one);
  d1mach_(&selector);
  int info = 0;
  RegularMatrix dense(2, 2);
  dense(0, 0) = dense(1, 1) = 3;
  *dense.Address(0, 1) = 1;
  EXPECT_EQ(dense.Solve(x, b, info), Matrix::MatrixOK);
  ArrowMatrix arrow(3, 1, 1, 1, ArrowMatrix::TrackInternal);
  for (int i = 0; i < 4; ++i) arrow(i, i) = 2 + i;
  arrow(3, 1) = 1;
  EXPECT_EQ(arrow.Solve(x, b, info), Matrix::MatrixOK);
}

TEST(LinkedHost, KeepsTheFloatingPointStateOfTheLoadingThread) {
  const int kept = std::fegetround();
  std::fesetround(FE_TOWARDZERO);
  const auto state = float_state();
  const long applied = corvid_host::ControlWordApplications();
  use_everything();
  EXPECT_TRUE(float_state() == state);
  EXPECT_EQ(corvid_host::ControlWordApplications(), applied);
  std::fesetround(kept);
}

TEST(LinkedHost, EveryThreadIsAttachedOnceWhateverItEntersFirst) {
  RegularMatrix matrix_of_this_thread(2, 2);
  static RegularMatrix* made_elsewhere;
  made_elsewhere = &matrix_of_this_thread;
  void (*const entries[])() = {
      [] {
        const int selector = 1;
        d1mach_(&selector);
      },
      [] {
        const int n = 0, one = 1;
        ddot_(&n, nullptr, &one, nullptr, &one);
      },
      [] { RegularMatrix matrix(1, 1); },
      [] { HostAllocated::operator delete(nullptr); },
      [] { ArrowMatrix matrix(1, 0, 0, 0, ArrowMatrix::TrackNone); },
      [] { (*made_elsewhere)(0, 0) = 1; },
  };
  for (const auto entry : entries) {
    const long applied = corvid_host::ControlWordApplications();
    std::thread([&] {
      entry();
      EXPECT_EQ(corvid_host::ControlWordApplications(), applied + 1);
      use_everything();
    }).join();
    EXPECT_EQ(corvid_host::ControlWordApplications(), applied + 1);
  }
}

TEST(LinkedHost, LinkedAheadOfTheBlasTheErrorHookServesItsKernels) {
  const int m = -1, n = 1, one = 1;
  const double alpha = 1, x = 1;
  double a = 7;
  testing::internal::CaptureStdout();
  dger_(&m, &n, &alpha, &x, &one, &x, &one, &a, &one);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "** On entry to DGER  , parameter number  1 had an illegal value\n");
  EXPECT_EQ(a, 7);
}

}  // namespace
