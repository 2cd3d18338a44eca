#include <gtest/gtest.h>

#include <thread>

#include "corvidnum.h"
#include "frame/blas.h"
#include "host/corvid_host.h"

namespace {

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
      for (const auto any : entries) {
        entry();
        EXPECT_EQ(corvid_host::ControlWordApplications(), applied + 1);
        any();  // not attached again by an entry of another kind
      }
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
