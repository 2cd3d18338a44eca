// The account of the accelerators, read back from the disk.

#include <gtest/gtest.h>

#include <string>

#include "accel/dom_eigen_accel.h"
#include "accel/fixed_point.h"
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

/// The lines for a vector that was received and what comes of it.
std::string received(int number, const char* first, const char* second, bool ok, int next = -1) {
  return (next < 0 ? "" : "Accel - next vector to be stored is " + std::to_string(next) + "\n") +
         "Accel - Received new vector from client - vector number is " + std::to_string(number) +
         ", vector is\n     " + first + "\n     " + second +
         "\nAccel - The value of the OK to accelerate flag is " + (ok ? "1\n" : "0\n");
}
std::string outcome(bool accept, const char* first, const char* second) {
  return std::string(accept ? "Accel - finished performing an acceleration step\n" : "") +
         "DomEigenAccel - accept flag = " + (accept ? "1" : "0") + "\n    correction, result=\n     " +
         first + "\n     " + second + "\n";
}

const std::string kFirstVectors =
    received(-1, "0", "0", false) + received(0, "16", "8", false, 0) + received(1, "24", "12", true, 1);

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
                "DomEigenAccel - Oldlambda = 0, Newlambda = 0.5\n" +
                outcome(false, "8     24", "4     12") + received(2, "28", "14", true, 2) +
                "DomEigenAccel - sxx = 80, sxy = 40, syy = 20\n"
                "DomEigenAccel - Oldlambda = 0.5, Newlambda = 0.5\n" +
                outcome(false, "4     28", "2     14") + received(2, "30", "15", true, 2) +
                "DomEigenAccel - sxx = 20, sxy = 10, syy = 5\n"
                "DomEigenAccel - Oldlambda = 0.5, Newlambda = 0.5\n"
                "DomEigenAccel - Old project, New project, Difference\n"
                "4  2  0\n"
                "2  1  0\n" +
                outcome(true, "2     32", "1     16"));
}

TEST_F(DebugLines, OfSeveralEigenvalues) {
  MulDomEigenAccel accel(2, 1, 3, 0, 0);
  const std::string text = written([&](DebugOut& log) {
    accel.StartBasicDebug(&log);
    halve_steps(accel, 5);
  });
  const std::string projections =
      "Try to accelerate with 1 eigenvalues\nDomEigenAccel - Old project, New project, Difference\n";
  EXPECT_EQ(text, kFirstVectors + "Try to accelerate with 1 eigenvalues\n" +
                      outcome(false, "0     24", "0     12") + received(2, "28", "14", true, 2) +
                      projections + "0  4  -8\n0  2  -4\n" + outcome(false, "4     28", "2     14") +
                      received(2, "30", "15", true, 2) + projections + "4  2  0\n2  1  0\n" +
                      outcome(true, "2     32", "1     16"));
}

TEST_F(DebugLines, NeedALogItsSwitchAndMemory) {
  DomEigenAccel silent(2, 3, 1, 1, 0, 0);
  silent.StartBasicDebug(nullptr);
  silent.StartingIteration(3);
  halve_steps(silent, 5);

  EXPECT_EQ(written([&](DebugOut& log) {
              DomEigenAccel accel(2, 3, 1, 1, 0, 0);
              accel.StartBasicDebug(&log);
              corvid_host::FailAllocationsFrom(1);
              halve_steps(accel, 5);
              corvid_host::StopFailing();
            }),
            "");
}

/// Passes of x := 1 + 0.9 x, y := 2 + 0.5 y, with a log from the third pass to the seventh.
/// @return x, y at the end and how many passes it took
std::string bring_to_its_end(corvidnum::FixedPointMethod method, DebugOut* log) {
  corvidnum::FixedPointOptions options;
  options.method = method;
  options.least_between = 1;
  corvidnum::FixedPoint iteration(2, options);
  double x[] = {1.0, 1.0};
  corvidnum::FixedPointVerdict verdict = iteration.Start(x);
  for (int pass = 1; verdict == corvidnum::FixedPointVerdict::Continue; ++pass) {
    if (pass == 3) iteration.StartBasicDebug(log);
    if (pass == 8) iteration.EndBasicDebug();
    x[0] = 1 + 0.9 * x[0];
    x[1] = 2 + 0.5 * x[1];
    verdict = iteration.Pass(x);
  }
  return std::string(TextOf(verdict)) + std::to_string(x[0] - 10) + std::to_string(x[1] - 4) + "/" +
         std::to_string(iteration.Counts().passes);
}

TEST_F(DebugLines, OfAllAcceleratorsInAFixedPoint) {
  using Method = corvidnum::FixedPointMethod;
  for (const Method method : {Method::None, Method::Dominant, Method::Multiple, Method::Automatic}) {
    SCOPED_TRACE(TextOf(method));
    std::string logged;
    const std::string text = written([&](DebugOut& log) { logged = bring_to_its_end(method, &log); });
    EXPECT_EQ(logged, bring_to_its_end(method, nullptr)) << "a log changes nothing";
    int vectors = 0;
    const std::string words = "Received new vector from client";
    for (std::size_t at = 0; (at = text.find(words, at)) != text.npos; ++at) ++vectors;
    EXPECT_EQ(text.find("DomEigenAccel - Oldlambda") != text.npos,
              method == Method::Dominant || method == Method::Automatic);
    EXPECT_EQ(text.find("Try to accelerate with 2 eigenvalues") != text.npos,
              method == Method::Multiple || method == Method::Automatic);
    const int accelerators = method == Method::None ? 0 : method == Method::Automatic ? 2 : 1;
    EXPECT_EQ(vectors, 5 * accelerators);
  }
}

}  // namespace
