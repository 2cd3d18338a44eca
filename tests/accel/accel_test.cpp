// What all accelerators share, seen through a host's own accelerator, and how they bear a host's faults.

#include "accel/accel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "accel/dom_eigen_accel.h"
#include "accel/mul_dom_eigen_accel.h"
#include "host/corvid_host.h"

namespace {

using Vector = std::vector<double>;

/// Only ever asks whether it may try.
class Probe : public Accel {
 public:
  using Accel::Accel;
  using Accel::BasicDebug, Accel::CheckNoise, Accel::CheckProjectedPoint, Accel::History, Accel::Iter,
      Accel::NewVector, Accel::OKToAccelerate, Accel::PerformedAcceleration, Accel::ResetAll,
      Accel::WorkVector;
  using Accel::current, Accel::history, Accel::maxAccelFrequency, Accel::noiseTol, Accel::previous,
      Accel::projectTol, Accel::sinceAccel, Accel::work;

  unsigned char Accelerate(double* x) override {
    NewVector(x);
    const unsigned char ok = OKToAccelerate();
    if (ok) WorkVector(x);
    return ok;
  }
  void give(double value) { NewVector(&value); }
};

TEST(Accel, RingKeepsTheLastDifferences) {
  Probe accel(1, 3, 0);
  EXPECT_EQ(accel.History(0), nullptr);
  for (int k = 0; k < 8; ++k) {
    accel.give(k * k);
    EXPECT_EQ(accel.Iter(), k + 1);
    EXPECT_EQ(accel.current, std::min(k - 1, 2));
    for (int i = 0; i < std::min(k, 3); ++i) EXPECT_EQ(*accel.History(i), 2 * (k - i) - 1);
    EXPECT_EQ(accel.History(3), nullptr);
  }
  accel.Reset();
  accel.give(100.0);
  EXPECT_EQ(accel.Iter(), 1);
  EXPECT_EQ(*accel.History(0), 13.0);  // a first vector has no difference
  accel.give(90.0);
  EXPECT_EQ(*accel.History(0), -10.0);
  EXPECT_EQ(*accel.History(1), 13.0);
}

TEST(Accel, TriesWaitForTheirPasses) {
  const struct {
    int start, frequency;
    std::vector<int> tries;  // when each one is accepted
    std::vector<int> refused;
  } cases[] = {
      {3, 1, {3, 4, 5, 6, 7, 8, 9}, {3, 4, 5, 6, 7, 8, 9}},
      {3, 3, {3, 6, 9}, {3, 4, 5, 6, 7, 8, 9}},  // the passes before the first one count
      {3, 0, {3, 4, 5, 6, 7, 8, 9}, {3, 4, 5, 6, 7, 8, 9}},
      {3, INT_MIN, {3, 4, 5, 6, 7, 8, 9}, {3, 4, 5, 6, 7, 8, 9}},
      {5, 4, {5, 9}, {5, 6, 7, 8, 9}},
      {1, 5, {5}, {5, 6, 7, 8, 9}},
      {INT_MAX, 1, {}, {}},
  };
  for (const auto& c : cases) {
    for (const bool accept : {true, false}) {
      Probe accel(1, 3, 0);
      accel.StartingIteration(c.start);
      EXPECT_EQ(accel.StartingIteration(), c.start);
      accel.MaxAccelFrequency(c.frequency);
      std::vector<int> tries;
      for (int pass = 1; pass <= 9; ++pass) {
        double x = pass;
        if (!accel.Accelerate(&x)) continue;
        tries.push_back(pass);
        if (accept) accel.PerformedAcceleration(&x);
      }
      EXPECT_EQ(tries, accept ? c.tries : c.refused) << c.start << ' ' << c.frequency;
    }
  }
}

TEST(Accel, OnlyResetAllAndNewArraysRestoreTheDefaults) {
  double store[4] = {}, *arrays[] = {store, store + 1, store + 2, store + 3};
  Probe accel(1, 2, 1);
  void (*const resets[])(Probe&, double**) = {
      [](Probe& a, double**) { a.Reset(); },
      [](Probe& a, double**) { a.ResetAll(); },
      [](Probe& a, double** list) { a.UseCachedArrays(list, 4, 0); },
  };
  for (const auto reset : resets) {
    const bool all = reset != resets[0];
    accel.UseCachedArrays(arrays, 4, 0);
    accel.setProjectTol(0.7);
    accel.SetNoiseTolerance(3.0);
    accel.StartingIteration(5);
    accel.MaxAccelFrequency(2);
    for (const double value : {1.0, 2.0, 4.0}) accel.Accelerate(&(store[3] = value, store[3]));
    reset(accel, arrays);
    EXPECT_EQ(accel.Iter(), 0);
    EXPECT_EQ(accel.projectTol, all ? 0.1 : 0.7);
    EXPECT_EQ(accel.noiseTol, all ? 1e-8 : 3.0);
    EXPECT_EQ(accel.StartingIteration(), all ? 3 : 5);
    EXPECT_EQ(accel.maxAccelFrequency, all ? 1 : 2);
    EXPECT_EQ(accel.sinceAccel, all ? 0 : 3);
    EXPECT_EQ(accel.current, all ? -1 : 1);
  }
}

TEST(Accel, NoiseIsWhatLiesBelowTheTolerance) {
  const double nan = std::nan(""), infinity = std::numeric_limits<double>::infinity();
  const struct {
    Vector difference;
    double tolerance;
    unsigned char louder;
  } cases[] = {
      {{3, 4, 0}, 5, 1},        {{3, 4, 0}, std::nextafter(5.0, 6.0), 0},
      {{3, 4, 0}, -5, 1},       {{0, 0, 0}, 0, 1},
      {{nan, 0, 0}, 5, 1},      {{0, 0, nan}, 5, 1},
      {{0, infinity, 0}, 5, 1}, {{3, 4, 0}, nan, 1},
      {{1e-9, 0, 0}, 1e-8, 0},
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
    accel.give(1.0);
    accel.give(3.0);
    const double mark = 77.0;
    accel.WorkVector(&mark);
    double old = c.oldProject;
    EXPECT_EQ(accel.CheckProjectedPoint(c.check, &c.newProject, &old), c.agrees)
        << old << ' ' << c.newProject;
    EXPECT_EQ(old, c.newProject);
    if (!c.check) {
      EXPECT_EQ(*accel.work, mark);
    } else if (std::isfinite(c.oldProject - c.newProject)) {
      EXPECT_EQ(*accel.work, c.oldProject - 2 - c.newProject);
    }
  }
}

TEST(Accel, UndoGivesBackWhatTheLastTryReceived) {
  DomEigenAccel accel(1, 2, 0, 0, 0, 0);
  accel.MaxAccelFrequency(2);
  double x = 0.0;
  accel.UndoAndReset(&x);
  EXPECT_EQ(x, 0.0);
  x = 5.0;
  accel.UndoAndReset(&x);  // there is nothing to take back
  EXPECT_EQ(x, 5.0);
  for (const double value : {0.0, 8.0, 12.0}) EXPECT_EQ(accel.Accelerate(&(x = value)), value == 12.0);
  EXPECT_EQ(x, 16.0);
  accel.UndoAndReset(&x);
  EXPECT_EQ(x, 12.0);
  EXPECT_EQ(accel.Accelerate(&(x = 14.0)), 0);  // waits again; the difference is from 16
  EXPECT_EQ(accel.Accelerate(&(x = 13.0)), 1);
  EXPECT_EQ(x, 12.0);  // -1 behind -2: once more -1 is to come
}

// ---- Vectors of the caller

TEST(CachedArrays, AreTakenFromTheEndAndStayTheCallers) {
  constexpr int kRing = 2, kCount = 8;  // two more than the accelerator needs
  Vector store[kCount];
  double* arrays[kCount];
  for (int i = 0; i < kCount; ++i) {
    store[i].assign(1, -50.0 - i);
    arrays[i] = store[i].data();
  }
  const auto blocks = corvid_host::LiveBlocks();
  {
    DomEigenAccel accel(1, kRing, 0, 1, 0, 1);
    double x = 1.0;
    EXPECT_EQ(accel.Accelerate(&x), 0);  // has no vectors yet
    accel.StartingIteration(9);
    accel.MaxAccelFrequency(7);
    const auto before = corvid_host::TotalAllocations();
    accel.UseCachedArrays(arrays, kCount, 12345);
    EXPECT_EQ(accel.StartingIteration(), 3);
    for (const double value : {0.0, 16.0, 24.0, 28.0, 30.0}) {
      EXPECT_EQ(accel.Accelerate(&(x = value)), value == 30.0);
    }
    EXPECT_EQ(x, 32.0);
    // Ring of two: each place served two of the four differences.
    const double expected[kCount] = {-50, -51, 30, 32, 2, 4, 2, 2};
    for (int i = 0; i < kCount; ++i) EXPECT_EQ(store[i][0], expected[i]) << i;
    accel.StopUsingCachedArrays();
    EXPECT_EQ(accel.Accelerate(&x), 0);
    accel.UndoAndReset(&x);
    EXPECT_EQ(x, 32.0);
    accel.UseCachedArrays(arrays, kCount, 0);
    accel.UndoAndReset(&x);  // the arrays are new: there is no try to take back
    EXPECT_EQ(x, 32.0);
    EXPECT_EQ(corvid_host::TotalAllocations(), before);
  }
  EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
}

TEST(CachedArrays, BadListsLeaveTheObjectWithoutVectors) {
  double values[6] = {};
  double* arrays[6];
  for (int i = 0; i < 6; ++i) arrays[i] = values + i;
  const auto expect_nothing = [](Accel& accel) {
    for (int pass = 0; pass < 6; ++pass) {
      double x = pass;
      EXPECT_EQ(accel.Accelerate(&x), 0);
      EXPECT_EQ(x, pass);
    }
  };
  for (const int count : {5, 3, 2, 1, 0, -1, INT_MIN}) {
    DomEigenAccel accel(1, 2, 0, 0, 0, 1);
    accel.UseCachedArrays(arrays, count, 0);
    expect_nothing(accel);
  }
  for (int missing = 0; missing < 6; ++missing) {
    DomEigenAccel accel(1, 2, 0, 0, 0, 1);
    double* list[6];
    std::copy(arrays, arrays + 6, list);
    list[missing] = nullptr;
    accel.UseCachedArrays(list, 6, 0);
    expect_nothing(accel);
  }
  DomEigenAccel accel(1, 2, 0, 0, 0, 1);
  accel.UseCachedArrays(nullptr, 6, 0);
  expect_nothing(accel);
}

// ---- Faults

using Make = std::function<Accel*()>;

const struct {
  const char* what;
  Make make;
  std::vector<std::int64_t> printers;  // which requests are for something that a step can do without
} kAccelerators[] = {
    {"dominant", [] { return new DomEigenAccel(5, 3, 1, 1, 1, 0); }, {2, 9}},
    {"multiple", [] { return new MulDomEigenAccel(5, 1, 0, 0, 0); }, {2, 10}},
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

TEST(AccelFaults, ExhaustedMemoryLeavesTheVectorAlone) {
  for (const auto& kind : kAccelerators) {
    SCOPED_TRACE(kind.what);
    const auto blocks = corvid_host::LiveBlocks(), before = corvid_host::TotalAllocations();
    delete kind.make();
    const auto requests = corvid_host::TotalAllocations() - before;
    for (std::int64_t n = 1; n <= requests; ++n) {
      for (const bool all : {false, true}) {
        SCOPED_TRACE(n);
        (all ? corvid_host::FailAllocationsFrom : corvid_host::FailAllocation)(n);
        std::unique_ptr<Accel> accel(kind.make());
        corvid_host::StopFailing();
        EXPECT_EQ(accel == nullptr, n == 1);
        if (!accel) continue;
        const auto& printers = kind.printers;
        const bool dispensable = std::find(printers.begin(), printers.end(), n) != printers.end();
        EXPECT_EQ(steps_somewhere(*accel), dispensable && !all);
        accel.reset();
        EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
      }
    }
  }
}

TEST(AccelFaults, PassesAllocateNothing) {
  for (const auto& kind : kAccelerators) {
    const std::unique_ptr<Accel> accel(kind.make());
    const auto before = corvid_host::TotalAllocations(), blocks = corvid_host::LiveBlocks();
    EXPECT_TRUE(steps_somewhere(*accel));
    EXPECT_EQ(corvid_host::TotalAllocations(), before);
    EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
  }
}

TEST(AccelFaults, AnySizesAndStartsAreHarmless) {
  const int sizes[] = {INT_MIN, -1, 0, 1, 5};
  const auto run = [](Accel& accel, int length, int start) {
    accel.StartingIteration(start);
    EXPECT_EQ(accel.NumVar(), length);
    for (int pass = 0; pass < 8; ++pass) accel.Accelerate(nullptr);  // counted, but without differences
    accel.UndoAndReset(nullptr);
    for (int pass = 0; pass < 9; ++pass) {
      Vector x(8, 3.0 + std::pow(0.5, pass));
      accel.Accelerate(x.data());
      for (int i = std::max(length, 0); i < 8; ++i) EXPECT_EQ(x[static_cast<std::size_t>(i)], x[7]);
      if (pass == 6) accel.Reset();
    }
  };
  for (const int length : sizes) {
    for (const int ring : {INT_MIN, -1, 0, 1, 2}) {
      for (const int start : {INT_MIN, 0, 1, 2, 3, INT_MAX}) {
        for (const bool pred : {false, true}) {
          DomEigenAccel accel(length, ring, 0, pred, 1, 0);
          run(accel, length, start);
        }
        MulDomEigenAccel multiple(length, std::min(ring, 2), ring, 0, 0);
        run(multiple, length, start);
      }
    }
  }
}

TEST(AccelFaults, ShortRingsNeverStep) {
  for (const int ring : {-3, 0, 1}) {
    DomEigenAccel accel(1, ring, 0, 0, 0, 0);
    for (const double value : {0.0, 8.0, 12.0, 14.0, 15.0}) {
      double x = value;
      EXPECT_EQ(accel.Accelerate(&x), 0);
      EXPECT_EQ(x, value);
    }
  }
  DomEigenAccel early(1, 2, 0, 0, 0, 0);
  early.StartingIteration(1);
  std::vector<int> answers;
  for (const double value : {0.0, 8.0, 12.0}) {
    double x = value;
    answers.push_back(early.Accelerate(&x));
  }
  EXPECT_EQ(answers, (std::vector<int>{0, 0, 1}));
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
    // A NaN passes every test, so the step is taken and x is not finite any more.
    DomEigenAccel dominant(2, 2, 1, 1, 1, 0);
    MulDomEigenAccel multiple(2, 1, 0, 0, 0);
    for (int pass = 1; pass <= 7; ++pass) {
      double x[] = {pass == 4 ? bad : std::pow(0.5, pass), 1.0};
      const bool accepted = dominant.Accelerate(x) != 0;
      EXPECT_EQ(accepted, pass >= 5) << pass;
      EXPECT_EQ(std::isnan(x[0]) || std::isinf(x[0]), pass >= 4) << pass;
      double y[] = {pass == 4 ? bad : std::pow(0.5, pass), 1.0};
      multiple.Accelerate(y);
      if (pass == 4) {
        dominant.UndoAndReset(x);
        EXPECT_EQ(std::isnan(x[0]), std::isnan(bad));
      }
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

class OpenDominant : public DomEigenAccel {
 public:
  using DomEigenAccel::correction, DomEigenAccel::DomEigenAccel, DomEigenAccel::lambda,
      DomEigenAccel::oldLambda, DomEigenAccel::oldProject;
};

TEST(DomEigenAccel, ANoisyTryClearsTheCorrectionAndKeepsTheEstimates) {
  OpenDominant accel(1, 2, 0, 1, 0, 0);
  double x = 0.0;
  for (const double value : {0.0, 8.0, 12.0}) accel.Accelerate(&(x = value));
  EXPECT_EQ(*accel.oldProject, 4.0);
  EXPECT_EQ(accel.Accelerate(&(x = 12.0)), 0);
  EXPECT_EQ(*accel.correction, 0.0);
  EXPECT_EQ(*accel.oldProject, 0.0);
  EXPECT_EQ(accel.lambda, 0.5);
  EXPECT_EQ(accel.oldLambda, 0.0);
}

TEST(DomEigenAccel, OneUnknownHasNoScatterAndTinyDivisorsGiveNoStep) {
  for (const bool conservative : {false, true}) {
    OpenDominant accel(1, 2, 0, 0, conservative, 0);
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
    EXPECT_EQ(accel.lambda, 0.0);
  }
}

TEST(DomEigenAccel, NoProgressIsAStepOfLengthZero) {
  DomEigenAccel accel(2, 2, 0, 0, 0, 0);
  accel.MaxAccelFrequency(2);
  std::vector<int> answers;
  for (int pass = 1; pass <= 6; ++pass) {  // lambda is exactly 1
    double x[] = {1.0 * pass, 2.0 * pass};
    answers.push_back(accel.Accelerate(x));
    EXPECT_EQ(x[1], 2.0 * pass);
  }
  EXPECT_EQ(answers, (std::vector<int>{0, 0, 1, 0, 1, 0}));
}

}  // namespace
