// What all accelerators share, seen through a host's own accelerator, and how they bear a host's faults.

#include "accel/accel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "accel/dom_eigen_accel.h"
#include "accel/mul_dom_eigen_accel.h"
#include "host/corvid_host.h"

namespace {

using Vector = std::vector<double>;

/// Opens the tests that an accelerator may use.
class Probe : public Accel {
 public:
  using Accel::Accel;
  using Accel::CheckNoise, Accel::CheckProjectedPoint, Accel::NewVector, Accel::work, Accel::WorkVector;

  unsigned char Accelerate(double*) override { return 0; }
};

TEST(Accel, NoiseIsWhatLiesBelowTheTolerance) {
  const double nan = std::nan("");
  const struct {
    Vector difference;
    double tolerance;
    unsigned char louder;
  } cases[] = {
      {{3, 4, 0}, 5, 1},   {{3, 4, 0}, std::nextafter(5.0, 6.0), 0},
      {{3, 4, 0}, -5, 1},  {{0, 0, 0}, 0, 1},
      {{0, 0, nan}, 5, 1}, {{3, 4, 0}, nan, 1},
  };
  for (const auto& c : cases) {
    Probe accel(3, 2, 0);
    accel.SetNoiseTolerance(c.tolerance);
    EXPECT_EQ(accel.CheckNoise(), 0);  // no difference yet
    accel.NewVector(Vector(3, 0.0).data());
    accel.NewVector(c.difference.data());
    EXPECT_EQ(accel.CheckNoise(), c.louder) << c.difference[0] << ' ' << c.tolerance;
  }
}

TEST(Accel, ProjectionsHaveToAgree) {
  const double nan = std::nan(""), infinity = std::numeric_limits<double>::infinity();
  const struct {
    unsigned char check;
    double oldProject, newProject, tolerance;  // the difference is 2
    unsigned char agrees;
  } cases[] = {
      {1, 12, 10, 0.1, 1},       {1, 13, 10, 0.1, 1},       {1, 13.01, 10, 0.1, 0}, {1, 11, 10, 0.1, 1},
      {1, 10.99, 10, 0.1, 0},    {0, 12, 10, 0.1, 0},       {1, 0, -2, 0.0, 1},     {1, nan, 10, 0.1, 1},
      {1, 12, infinity, 0.1, 1}, {1, infinity, 10, 0.1, 0}, {1, 0, 10, 0.1, 0},
  };
  for (const auto& c : cases) {
    Probe accel(1, 2, 0);
    accel.setProjectTol(c.tolerance);
    for (const double value : {1.0, 3.0}) accel.NewVector(&value);
    const double mark = 77.0;
    accel.WorkVector(&mark);
    double old = c.oldProject;
    EXPECT_EQ(accel.CheckProjectedPoint(c.check, &c.newProject, &old), c.agrees)
        << old << ' ' << c.newProject;
    EXPECT_EQ(old, c.newProject);
    EXPECT_EQ(*accel.work == mark, !c.check) << "nothing was compared, nothing overwritten";
  }
}

// ---- Vectors of the caller

TEST(CachedArrays, AreTakenFromTheEndAndStayTheCallers) {
  constexpr int kCount = 8;  // two more than a ring of two needs
  double store[kCount], *arrays[kCount];
  for (int i = 0; i < kCount; ++i) *(arrays[i] = store + i) = -50.0 - i;
  DomEigenAccel accel(1, 2, 0, 1, 0, 1);
  double x = 1.0;
  EXPECT_EQ(accel.Accelerate(&x), 0);  // has no vectors yet
  accel.StartingIteration(9);
  const auto before = corvid_host::TotalAllocations();
  accel.UseCachedArrays(arrays, kCount, 12345);
  EXPECT_EQ(accel.StartingIteration(), 3);
  for (const double value : {0.0, 16.0, 24.0, 28.0, 30.0}) {
    EXPECT_EQ(accel.Accelerate(&(x = value)), value == 30.0);
  }
  EXPECT_EQ(x, 32.0);
  // Ring of two: each place served two of the four differences.
  EXPECT_EQ(Vector(store, store + kCount), (Vector{-50, -51, 30, 32, 2, 4, 2, 2}));
  accel.StopUsingCachedArrays();
  EXPECT_EQ(accel.Accelerate(&x), 0);
  accel.UseCachedArrays(arrays, kCount, 0);
  accel.UndoAndReset(&x);  // the arrays are new: there is no try to take back
  EXPECT_EQ(x, 32.0);
  EXPECT_EQ(corvid_host::TotalAllocations(), before);
}

TEST(CachedArrays, BadListsLeaveTheObjectWithoutVectors) {
  double values[6] = {}, *arrays[6];
  const auto expect_nothing = [](double** list, int count) {
    DomEigenAccel accel(1, 2, 0, 0, 0, 1);
    accel.UseCachedArrays(list, count, 0);
    for (int pass = 0; pass < 6; ++pass) {
      double x = pass;
      EXPECT_EQ(accel.Accelerate(&x), 0);
      EXPECT_EQ(x, pass);
    }
  };
  for (int i = 0; i < 6; ++i) arrays[i] = values + i;
  for (const int count : {5, 3, 2, 1, 0, INT_MIN}) expect_nothing(arrays, count);
  for (double*& missing : arrays) {
    double* const kept = missing;
    missing = nullptr;
    expect_nothing(arrays, 6);
    missing = kept;
  }
  expect_nothing(nullptr, 6);
  DomEigenAccel enough(1, 2, 0, 0, 0, 1);
  enough.UseCachedArrays(arrays, 6, 0);
  double x = 0.0;
  for (const double value : {0.0, 8.0, 12.0}) enough.Accelerate(&(x = value));
  EXPECT_EQ(x, 16.0);
}

// ---- Faults

const struct {
  const char* what;
  Accel* (*make)();
} kAccelerators[] = {
    {"dominant", []() -> Accel* { return new DomEigenAccel(5, 3, 1, 1, 1, 0); }},
    {"multiple", []() -> Accel* { return new MulDomEigenAccel(5, 1, 0, 0, 0); }},
};

/// Whether a step was taken in twelve passes, all of which are taken back.
bool steps_somewhere(Accel& accel) {
  bool accepted = false;
  for (int pass = 0; pass < 12; ++pass) {
    Vector x(5, std::pow(0.5, pass));
    const Vector received = x;
    const bool now = accel.Accelerate(x.data()) != 0;
    EXPECT_EQ(now, x != received);
    accepted = accepted || now;
    accel.UndoAndReset(x.data());
    EXPECT_EQ(x, received);
  }
  return accepted;
}

TEST(AccelFaults, ExhaustedMemoryLeavesTheVectorAloneAndPassesAllocateNothing) {
  for (const auto& kind : kAccelerators) {
    SCOPED_TRACE(kind.what);
    const auto blocks = corvid_host::LiveBlocks(), before = corvid_host::TotalAllocations();
    std::unique_ptr<Accel> accel(kind.make());
    const auto requests = corvid_host::TotalAllocations() - before;
    EXPECT_TRUE(steps_somewhere(*accel));
    EXPECT_EQ(corvid_host::TotalAllocations(), before + requests);
    for (std::int64_t n = 1; n <= requests; ++n) {
      for (const auto fail : {corvid_host::FailAllocation, corvid_host::FailAllocationsFrom}) {
        SCOPED_TRACE(n);
        fail(n);
        accel.reset(kind.make());
        corvid_host::StopFailing();
        ASSERT_EQ(accel == nullptr, n == 1);
        if (accel) steps_somewhere(*accel);
        accel.reset();
        EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
      }
    }
  }
}

TEST(AccelFaults, AnySizesAndStartsAreHarmless) {
  const auto run = [](Accel& accel, int length, int start, bool can_step) {
    accel.StartingIteration(start);
    EXPECT_EQ(accel.NumVar(), length);
    for (int pass = 0; pass < 8; ++pass) accel.Accelerate(nullptr);  // counted, but without differences
    accel.UndoAndReset(nullptr);
    for (int pass = 0; pass < 9; ++pass) {
      Vector x(8, 3.0 + std::pow(0.5, pass));
      const Vector received = x;
      accel.Accelerate(x.data());
      EXPECT_TRUE(can_step || x == received);
      for (int i = std::max(length, 0); i < 8; ++i) EXPECT_EQ(x[static_cast<std::size_t>(i)], x[7]);
      if (pass == 6) accel.Reset();
    }
  };
  for (const int length : {INT_MIN, -1, 0, 1, 5}) {
    for (const int ring : {INT_MIN, -1, 0, 1, 2}) {
      for (const int start : {INT_MIN, 1, 2, 3, INT_MAX}) {
        for (const bool pred : {false, true}) {
          DomEigenAccel accel(length, ring, 0, pred, 1, 0);
          run(accel, length, start, ring > 1 && length > 0);
        }
        MulDomEigenAccel multiple(length, std::min(ring, 2), ring, 0, 0);
        run(multiple, length, start, ring > 0 && length > 0);
      }
    }
  }
}

TEST(AccelFaults, NothingToFitCountsAsAccepted) {
  for (const int eigenvalues : {0, -4, INT_MIN}) {
    MulDomEigenAccel accel(1, eigenvalues, 2, 0, 0);
    accel.MaxAccelFrequency(3);
    for (int pass = 1; pass <= 5; ++pass) {
      double x = pass;
      EXPECT_EQ(accel.Accelerate(&x), pass >= 3);  // nor does a step begin the count anew
      EXPECT_EQ(x, pass);
    }
  }
}

TEST(AccelFaults, NotFiniteVectorsGetTheAnswersOfTheTests) {
  const double nan = std::nan(""), infinity = std::numeric_limits<double>::infinity();
  for (const double bad : {nan, infinity, -infinity}) {
    DomEigenAccel dominant(2, 2, 1, 1, 1, 0);
    MulDomEigenAccel multiple(2, 1, 0, 0, 0);
    for (int pass = 1; pass <= 7; ++pass) {
      double x[] = {pass == 4 ? bad : std::pow(0.5, pass), 1.0}, y[] = {x[0], 1.0};
      EXPECT_EQ(dominant.Accelerate(x), pass >= 5) << pass;  // a NaN passes every test
      EXPECT_EQ(std::isfinite(x[0]), pass < 4) << pass;
      multiple.Accelerate(y);
    }
  }
}

TEST(MulDomEigenAccel, ConstantDriftIsTakenAndInfinite) {
  MulDomEigenAccel accel(1, 1, 0, 0, 0);
  double x = 0.0;
  for (int pass = 1; pass <= 3; ++pass) EXPECT_EQ(accel.Accelerate(&(x = pass)), 0);
  EXPECT_EQ(accel.Accelerate(&(x = 4.0)), 1);
  EXPECT_TRUE(std::isinf(x));
  accel.UndoAndReset(&x);
  EXPECT_EQ(x, 4.0);
}

TEST(DomEigenAccel, GatesHaveTheirEdges) {
  // Differences a, a r, a r s: the second estimate is s, the first is r.
  const struct {
    double first, second;
    unsigned char accepted;
  } cases[] = {
      {0.5, 0.5, 1},   {0.999, 0.999, 1}, {0.9990000001, 0.9990000001, 0},
      {0.5, 0.6, 1},   {0.5, 0.75, 0},    {0.25, 0.5, 1},  // settled just enough
      {1.0, 0.5, 0},   {1.5, 0.5, 0},     {-3.0, -4.0, 1},
      {-1.0, -3.5, 0},
  };
  for (const auto& c : cases) {
    DomEigenAccel accel(1, 3, 1, 0, 0, 0);
    const double a = 1e6;  // round enough for 0.999 to come out exactly
    double differences[] = {0.0, a, a * c.first, a * c.first * c.second}, sum = 0.0, x = 0.0;
    for (int pass = 0; pass < 4; ++pass) {
      sum += differences[pass];
      const unsigned char accepted = accel.Accelerate(&(x = sum));
      EXPECT_EQ(accepted, pass == 3 && c.accepted) << c.first << ' ' << c.second << ' ' << pass;
    }
  }
}

TEST(DomEigenAccel, OneUnknownHasNoScatterAndTinyDivisorsGiveNoStep) {
  for (const bool conservative : {false, true}) {
    DomEigenAccel accel(1, 2, 0, 0, conservative, 0);
    accel.SetNoiseTolerance(0.0);
    double x = 0.0;
    for (const double value : {0.0, 8.0, 12.0}) accel.Accelerate(&(x = value));
    EXPECT_EQ(x, 16.0);
    accel.Reset();
    for (const double value : {0.0, 1e-14, 1.5e-14}) accel.Accelerate(&(x = value));
    EXPECT_NEAR(x, 2e-14, 1e-20) << "a square of 1e-28 still divides";
    accel.Reset();
    for (const double value : {0.0, 9e-16, 1.8e-15}) accel.Accelerate(&(x = value));
    EXPECT_EQ(x, 1.8e-15) << "a square below 1e-30 does not";
  }
}

}  // namespace
