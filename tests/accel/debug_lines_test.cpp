// The account of the accelerators, read back from the disk.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "accel/dom_eigen_accel.h"
#include "accel/mul_dom_eigen_accel.h"
#include "tests/support/log_file.h"

namespace {

using DebugLines = test_support::LogFile;

/// Steps of (16, 8), (8, 4), ... from (0, 0): lambda is 1/2.
void halve_steps(Accel& accel, int passes) {
  double x[] = {0.0, 0.0}, step = 16.0;
  for (int pass = 1; pass <= passes; ++pass) {
    accel.Accelerate(x);
    x[0] += step;
    x[1] += step / 2;
    step /= 2;
  }
}

const std::string kFirstVectors =
    "Accel - Received new vector from client - vector number is -1, vector is\n"
    "     0\n"
    "     0\n"
    "Accel - The value of the OK to accelerate flag is 0\n"
    "Accel - next vector to be stored is 0\n"
    "Accel - Received new vector from client - vector number is 0, vector is\n"
    "     16\n"
    "     8\n"
    "Accel - The value of the OK to accelerate flag is 0\n"
    "Accel - next vector to be stored is 1\n"
    "Accel - Received new vector from client - vector number is 1, vector is\n"
    "     24\n"
    "     12\n"
    "Accel - The value of the OK to accelerate flag is 1\n";

TEST_F(DebugLines, OfTheDominantEigenvalue) {
  DomEigenAccel accel(2, 3, 1, 1, 0, 0);
  const std::string text = written([&](DebugOut& log) {
    accel.StartBasicDebug(&log);
    accel.StartingIteration(3);
    accel.MaxAccelFrequency(-2);
    halve_steps(accel, 5);
    accel.EndBasicDebug();
    accel.StartingIteration(4);
    halve_steps(accel, 2);
  });
  EXPECT_EQ(text,
            "Accel - Starting iteration set to 3\n"
            "Accel - Maximum acceleration frequency set to 1\n" +
                kFirstVectors +
                "DomEigenAccel - sxx = 320, sxy = 160, syy = 80\n"
                "DomEigenAccel - Oldlambda = 0, Newlambda = 0.5\n"
                "DomEigenAccel - accept flag = 0\n"
                "    correction, result=\n"
                "     8     24\n"
                "     4     12\n"
                "Accel - next vector to be stored is 2\n"
                "Accel - Received new vector from client - vector number is 2, vector is\n"
                "     28\n"
                "     14\n"
                "Accel - The value of the OK to accelerate flag is 1\n"
                "DomEigenAccel - sxx = 80, sxy = 40, syy = 20\n"
                "DomEigenAccel - Oldlambda = 0.5, Newlambda = 0.5\n"
                "DomEigenAccel - accept flag = 0\n"
                "    correction, result=\n"
                "     4     28\n"
                "     2     14\n"
                "Accel - next vector to be stored is 2\n"
                "Accel - Received new vector from client - vector number is 2, vector is\n"
                "     30\n"
                "     15\n"
                "Accel - The value of the OK to accelerate flag is 1\n"
                "DomEigenAccel - sxx = 20, sxy = 10, syy = 5\n"
                "DomEigenAccel - Oldlambda = 0.5, Newlambda = 0.5\n"
                "DomEigenAccel - Old project, New project, Difference\n"
                "4  2  0\n"
                "2  1  0\n"
                "Accel - finished performing an acceleration step\n"
                "DomEigenAccel - accept flag = 1\n"
                "    correction, result=\n"
                "     2     32\n"
                "     1     16\n");
}

TEST_F(DebugLines, OfSeveralEigenvalues) {
  MulDomEigenAccel accel(2, 1, 3, 0, 0);
  const std::string text = written([&](DebugOut& log) {
    accel.StartBasicDebug(&log);
    halve_steps(accel, 5);
  });
  EXPECT_EQ(text, kFirstVectors +
                      "Try to accelerate with 1 eigenvalues\n"
                      "DomEigenAccel - accept flag = 0\n"
                      "    correction, result=\n"
                      "     0     24\n"
                      "     0     12\n"
                      "Accel - next vector to be stored is 2\n"
                      "Accel - Received new vector from client - vector number is 2, vector is\n"
                      "     28\n"
                      "     14\n"
                      "Accel - The value of the OK to accelerate flag is 1\n"
                      "Try to accelerate with 1 eigenvalues\n"
                      "DomEigenAccel - Old project, New project, Difference\n"
                      "0  4  -8\n"
                      "0  2  -4\n"
                      "DomEigenAccel - accept flag = 0\n"
                      "    correction, result=\n"
                      "     4     28\n"
                      "     2     14\n"
                      "Accel - next vector to be stored is 2\n"
                      "Accel - Received new vector from client - vector number is 2, vector is\n"
                      "     30\n"
                      "     15\n"
                      "Accel - The value of the OK to accelerate flag is 1\n"
                      "Try to accelerate with 1 eigenvalues\n"
                      "DomEigenAccel - Old project, New project, Difference\n"
                      "4  2  0\n"
                      "2  1  0\n"
                      "Accel - finished performing an acceleration step\n"
                      "DomEigenAccel - accept flag = 1\n"
                      "    correction, result=\n"
                      "     2     32\n"
                      "     1     16\n");
}

TEST_F(DebugLines, WalkThroughSmallerCountsAfterARefusal) {
  MulDomEigenAccel accel(1, 3, 0, 0, 0);
  const std::string text = written([&](DebugOut& log) {
    double x = 1.0;
    for (int pass = 1; pass <= 2; ++pass) accel.Accelerate(&x);
    accel.StartBasicDebug(&log);
    accel.Accelerate(&x);
  });
  std::string::size_type from = 0;
  for (const char* line : {"with 3 eigenvalues\n", "with 2 eigenvalues\n", "with 1 eigenvalues\n"}) {
    from = text.find(line, from);
    ASSERT_NE(from, std::string::npos) << line << text;
  }
}

TEST_F(DebugLines, NeedALogItsSwitchAndMemory) {
  DomEigenAccel silent(2, 3, 1, 1, 0, 0);
  silent.StartBasicDebug(nullptr);
  silent.StartingIteration(3);
  halve_steps(silent, 5);

  corvid_host::FailAllocation(1);  // the printer of the base
  DomEigenAccel without_printer(2, 3, 1, 1, 0, 0);
  corvid_host::StopFailing();
  EXPECT_EQ(written([&](DebugOut& log) {
              without_printer.StartBasicDebug(&log);
              without_printer.StartingIteration(3);
              halve_steps(without_printer, 2);
            }),
            "");

  EXPECT_EQ(written([&](DebugOut& log) {
              DomEigenAccel accel(2, 3, 1, 1, 0, 0);
              accel.StartBasicDebug(&log);
              corvid_host::FailAllocationsFrom(1);
              halve_steps(accel, 5);
              corvid_host::StopFailing();
            }),
            "");
}

}  // namespace
