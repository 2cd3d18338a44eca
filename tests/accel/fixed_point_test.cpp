// FixedPoint on iterations with known fixed points, and where host, memory or record let it down.

#include "accel/fixed_point.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "accel/corvidnum_fixed_point.h"
#include "host/corvid_host.h"
#include "tests/support/fixed_point_maps.h"

namespace {

using namespace corvidnum;
using maps::Kind;
using maps::Map;
using maps::Vector;
using Verdict = FixedPointVerdict;
using Model = std::function<void(Vector&)>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Ended {
  Verdict verdict;
  Vector x;
  FixedPointCounts counts;
};

Ended go_on(FixedPoint& iteration, Vector x, const Model& model, Verdict verdict = Verdict::Continue) {
  while (verdict == Verdict::Continue) {
    model(x);
    verdict = iteration.Pass(x.data());
  }
  return {verdict, x, iteration.Counts()};
}

Ended iterate(const Vector& start, const FixedPointOptions& options, const Model& model) {
  FixedPoint iteration(static_cast<int>(start.size()), options);
  Vector x = start;
  const Verdict verdict = iteration.Start(x.data());
  return go_on(iteration, x, model, verdict);
}

FixedPointOptions with_method(FixedPointMethod method, int pass_limit = 200000) {
  FixedPointOptions options;
  options.method = method;
  options.pass_limit = pass_limit;
  return options;
}

Ended iterate(Map& map, FixedPointOptions options, double unit = 1) {
  Vector sizes = map.size, lower = map.lower, upper = map.upper;
  for (Vector* v : {&sizes, &lower, &upper})
    for (double& value : *v) value *= unit;
  options.nominal = sizes.data();
  options.lower = lower.empty() ? nullptr : lower.data();
  options.upper = upper.empty() ? nullptr : upper.data();
  return iterate(map.start(unit), options, [&](Vector& x) { map.pass(x, unit); });
}

/// Two unknowns with the fixed point (10, 20) and these eigenvalues.
Model two_unknowns(double first, double second) {
  return [=](Vector& x) {
    const double a = x[0] - 10, b = x[1] - 20;
    x = {10 + first * a, 20 + 0.3 * a + second * b};
  };
}

// ---- Seeded maps; bench/accel/fixed_point_maps runs a hundred of each kind

class OnMaps : public testing::TestWithParam<int> {};

TEST_P(OnMaps, EndsAsTheMapDoes) {
  const Kind kind = static_cast<Kind>(GetParam());
  const int limit = converges(kind) ? 200000 : 3000;
  double log_ratio = 0;
  constexpr int kMaps = 10;
  for (int number = 0; number < kMaps; ++number) {
    SCOPED_TRACE(number);
    Map map(kind, number);
    const Ended plain = iterate(map, with_method(FixedPointMethod::None, limit));
    const Ended fast = iterate(map, with_method(FixedPointMethod::Automatic, limit));
    if (kind == Kind::kDiverging) {
      EXPECT_EQ(fast.verdict, Verdict::Diverging);
      EXPECT_LE(fast.counts.passes, 500);
    } else if (kind == Kind::kDrift) {
      EXPECT_EQ(fast.verdict, Verdict::Stalled);
    } else if (kind == Kind::kLoud) {  // slow maps in little noise still get nearer after so many passes
      EXPECT_TRUE(fast.verdict == Verdict::Stalled || fast.verdict == Verdict::PassLimit);
    } else {
      ASSERT_EQ(plain.verdict, Verdict::Converged);
      EXPECT_EQ(fast.verdict, Verdict::Converged);
      EXPECT_LE(static_cast<double>(fast.counts.passes), 1.1 * static_cast<double>(plain.counts.passes) + 5);
    }
    if (fast.verdict == Verdict::Converged && map.has_known_fixed_point()) {
      EXPECT_LE(map.error(fast.x), 2 * map.kappa() * (1e-8 + map.noise()) / (1 - map.radius()));
    }
    for (const double unit : {0x1p20, 0x1p-20})
      EXPECT_EQ(iterate(map, with_method(FixedPointMethod::Automatic, limit), unit).counts.passes,
                fast.counts.passes);
    log_ratio +=
        std::log(static_cast<double>(fast.counts.passes) / static_cast<double>(plain.counts.passes)) / kMaps;
  }
  const double most = kind == Kind::kFast ? 1.0 : kind == Kind::kBounds ? 0.35 : 0.15;
  if (converges(kind)) {
    EXPECT_LE(std::exp(log_ratio), most);
  }
}

INSTANTIATE_TEST_SUITE_P(All, OnMaps, testing::Range(0, maps::kKinds));

// ---- Judging

/// A pass moves each unknown by about the power 0.45 of its distance from 0. The correction of one eigenvalue
/// overshoots to -1.2 times the distance, where the change is hardly larger: the step passes its test, and
/// has made things worse. Where it is small the map contracts by a fixed factor.
void overshooting(Vector& x) {
  for (double& value : x) value -= 0.05 * value / std::pow(std::fabs(value) + 0.01, 0.55);
}

TEST(Judging, SwitchesOffStepsThatPassTheirTestsAndDoHarm) {
  FixedPointOptions options;
  const Vector nominal = {1, 1}, start = {30, 20};
  options.nominal = nominal.data();
  options.pass_limit = 100000;
  options.method = FixedPointMethod::None;
  const Ended plain = iterate(start, options, overshooting);
  ASSERT_EQ(plain.verdict, Verdict::Converged);
  for (const FixedPointMethod method :
       {FixedPointMethod::Dominant, FixedPointMethod::Multiple, FixedPointMethod::Automatic}) {
    SCOPED_TRACE(TextOf(method));
    options.method = method;
    const Ended judged = iterate(start, options, overshooting);
    EXPECT_EQ(judged.verdict, Verdict::Converged);
    EXPECT_GT(judged.counts.returns, 0);
    EXPECT_LE(static_cast<double>(judged.counts.passes), 1.1 * static_cast<double>(plain.counts.passes) + 5);
  }
}

TEST(Judging, TakesBackAStepBehindWhichThePassFails) {
  const Model model = two_unknowns(0.97, 0.5);
  int step = 0;
  const auto failing = [&](Vector& x) {
    const bool far = std::fabs(x[0] - 10) < 1 && ++step == 1;  // the first vector a step leads to
    model(x);
    if (far) x[1] = kNaN;
  };
  const Ended r = iterate({0, 0}, FixedPointOptions(), failing);
  EXPECT_EQ(r.verdict, Verdict::Converged);
  EXPECT_EQ(r.counts.steps_taken_back, 1);
  EXPECT_NEAR(r.x[0], 10, 1e-4);
}

TEST(Judging, FindsUnstableFixedPointsOnlyIfAsked) {
  const Model model = two_unknowns(1.2, 0.5);
  FixedPointOptions options = with_method(FixedPointMethod::Multiple);
  options.eigenvalues = 2;
  EXPECT_EQ(iterate({9, 19}, options, model).verdict, Verdict::Diverging);
  options.beyond_one = 1;
  const Ended found = iterate({9, 19}, options, model);
  EXPECT_EQ(found.verdict, Verdict::Converged);
  EXPECT_NEAR(found.x[0], 10, 1e-5);
}

TEST(Account, TellsStepsAndEigenvalues) {
  // Two real eigenvalues and a pair, in four unknowns.
  const Model model = [](Vector& x) {
    x = {1 + 0.9 * x[0], 2 - 0.5 * x[1], 0.6 * x[2] - 0.5 * x[3], 1 + 0.5 * x[2] + 0.6 * x[3]};
  };
  FixedPointOptions options = with_method(FixedPointMethod::None, 12);
  FixedPoint iteration(4, options);
  Vector x(4, 3.0);
  const Ended r = go_on(iteration, x, model, iteration.Start(x.data()));
  EXPECT_EQ(r.verdict, Verdict::PassLimit);
  double real[4], imaginary[4];
  ASSERT_EQ(iteration.Eigenvalues(real, imaginary, 4), 4);
  const std::complex<double> expected[] = {0.9, {0.6, 0.5}, {0.6, -0.5}, -0.5};
  for (const std::complex<double> value : expected) {
    double nearest = kInfinity;
    for (int i = 0; i < 4; ++i)
      nearest = std::fmin(nearest, std::abs(value - std::complex<double>(real[i], imaginary[i])));
    EXPECT_LT(nearest, 1e-6) << value;
  }
  FixedPointRecord newest;
  ASSERT_TRUE(iteration.Record(0, newest));
  EXPECT_EQ(newest.pass, 12);
  EXPECT_EQ(newest.reason, FixedPointReason::MethodHasNoSteps);
  options.pass_limit = 1000;
  const double more = static_cast<double>(iterate({3, 3, 3, 3}, options, model).counts.passes - 12);
  EXPECT_NEAR(newest.passes_ahead, more, 2);
  EXPECT_FALSE(iteration.Record(12, newest));
}

// ---- Bounds and vectors that cannot be evaluated

TEST(HandedOut, IsAlwaysFiniteAndWithinBounds) {
  const Vector lower = {0, -kInfinity}, upper = {9, 25};
  FixedPointOptions options;
  options.lower = lower.data();
  options.upper = upper.data();
  const Model model = two_unknowns(0.98, -0.9);
  const Ended r = iterate({-5, 300}, options, [&](Vector& x) {
    for (int i = 0; i < 2; ++i) {
      ASSERT_GE(x[i], lower[i]);
      ASSERT_LE(x[i], upper[i]);
    }
    model(x);
  });
  EXPECT_EQ(r.verdict, Verdict::Converged);
  EXPECT_EQ(r.x[0], 9);
  EXPECT_NEAR(r.x[1], 20 - 0.3 / 1.9, 1e-5);
}

TEST(HandedOut, StaysWhereTheModelCanBeEvaluated) {
  const Model model = two_unknowns(-0.9, 0.95);
  FixedPoint iteration(2, FixedPointOptions());
  Vector x = {4, 0};
  Verdict verdict = iteration.Start(x.data());
  while (verdict == Verdict::Continue) {
    if (x[0] > 12) {
      verdict = iteration.Discard(x.data());
    } else {
      model(x);
      verdict = iteration.Pass(x.data());
    }
  }
  EXPECT_EQ(verdict, Verdict::Converged);
  EXPECT_GT(iteration.Counts().discarded, 0);
  EXPECT_NEAR(x[1], 20, 1e-4);
}

TEST(HandedOut, EndsWhereNothingCanBeEvaluated) {
  Vector x = {1, 2};
  FixedPoint iteration(2, FixedPointOptions());
  ASSERT_EQ(iteration.Start(x.data()), Verdict::Continue);
  EXPECT_EQ(iteration.Discard(x.data()), Verdict::NotFinite);
  ASSERT_EQ(iteration.Start(x.data()), Verdict::Continue);
  x = {kNaN, 1};
  EXPECT_EQ(iteration.Pass(x.data()), Verdict::NotFinite);
  EXPECT_EQ(x, Vector({1, 2}));
  ASSERT_EQ(iteration.Start(x.data()), Verdict::Continue);
  x = {3, 4};
  Verdict verdict = iteration.Pass(x.data());
  for (int i = 0; i < 100 && verdict == Verdict::Continue; ++i) verdict = iteration.Discard(x.data());
  EXPECT_EQ(verdict, Verdict::NotFinite);
  EXPECT_EQ(x, Vector({1, 2}));
}

TEST(HandedOut, KeepsBoundsWhereHalvesUnderflow) {
  const double least = std::numeric_limits<double>::denorm_min();
  const Vector lower = {0, least}, upper = {10, least};
  FixedPointOptions options;
  options.lower = lower.data(), options.upper = upper.data();
  Vector x = {0, 0};
  FixedPoint iteration(2, options);
  ASSERT_EQ(iteration.Start(x.data()), Verdict::Continue);
  x = {8, 5};
  ASSERT_EQ(iteration.Pass(x.data()), Verdict::Continue);
  ASSERT_EQ(iteration.Discard(x.data()), Verdict::Continue);
  EXPECT_EQ(x, Vector({4, least}));
}

// ---- Options, memory, records

TEST(Options, AreRefusedOutsideTheirRanges) {
  FixedPointOptions options;
  for (int i = 0; i < FixedPoint::OptionCount(); ++i) {
    const FixedPointOption& o = *FixedPoint::Option(i);
    SCOPED_TRACE(o.name);
    EXPECT_EQ(FixedPoint::GetOption(options, o.name), o.standard);
    for (const double good : {o.lowest, o.highest, o.standard})
      EXPECT_TRUE(FixedPoint::SetOption(options, o.name, good));
    const double beside = o.whole ? 1 : 1e-16;
    for (const double bad : {o.lowest - beside, o.highest * 2 + 1, kNaN})
      EXPECT_FALSE(FixedPoint::SetOption(options, o.name, bad));
    EXPECT_NE(FixedPoint::SetOption(options, o.name, 0.25 * o.lowest + 0.75 * o.highest - 0.1 * o.whole),
              o.whole);
  }
  EXPECT_FALSE(FixedPoint::SetOption(options, "unheard-of", 1));
}

TEST(Options, AreCheckedByTheConstructor) {
  static const Vector zeros = {0, 0}, ones = {1, 1}, nan = {1, kNaN};
  const struct {
    const char* what;
    int n;
    void (*spoil)(FixedPointOptions&);
  } bad_ones[] = {
      {"no unknowns", 0, [](FixedPointOptions&) {}},
      {"tolerance", 2, [](FixedPointOptions& o) { o.tolerance = 0; }},
      {"method", 2, [](FixedPointOptions& o) { o.method = static_cast<FixedPointMethod>(4); }},
      {"nominal", 2, [](FixedPointOptions& o) { o.nominal = zeros.data(); }},
      {"bounds cross", 2, [](FixedPointOptions& o) { o.lower = ones.data(), o.upper = zeros.data(); }},
      {"bound is NaN", 2, [](FixedPointOptions& o) { o.upper = nan.data(); }},
  };
  for (const auto& bad : bad_ones) {
    SCOPED_TRACE(bad.what);
    FixedPointOptions options;
    bad.spoil(options);
    EXPECT_EQ(iterate(Vector(static_cast<std::size_t>(bad.n)), options, [](Vector&) {}).verdict,
              Verdict::BadInput);
  }
  FixedPoint not_started(2, FixedPointOptions());
  Vector x = {1, 1};
  EXPECT_EQ(not_started.Pass(x.data()), Verdict::BadInput);
}

TEST(Memory, EachRefusalIsTold) {
  const Vector lower = {0, 0, 0, 0, 0}, upper = {100, 100, 100, 100, 100};
  FixedPointOptions options;
  options.lower = lower.data();
  options.upper = upper.data();
  const auto before = corvid_host::LiveBlocks();
  int refused = 0;
  for (bool told = true; told && refused < 1000;) {
    corvid_host::FailAllocation(refused + 1);
    {
      FixedPoint iteration(5, options);
      Vector x(5, 50.0);
      told = iteration.Start(x.data()) == Verdict::NoMemory;
      corvid_host::StopFailing();
      if (told) {
        ++refused;
        EXPECT_EQ(iteration.Pass(x.data()), Verdict::NoMemory);
        EXPECT_EQ(iteration.StateSize(), 0);
      }
    }
    ASSERT_EQ(corvid_host::LiveBlocks(), before);
  }
  EXPECT_GT(refused, 15);  // arrays of the object itself, of the spectrum and of three accelerators
}

class SavedState : public testing::Test {
 protected:
  /// Makes passes of a map up to a limit and saves behind them.
  FixedPoint& make(int passes) {
    options.pass_limit = std::max(passes, 1);
    iteration = std::make_unique<FixedPoint>(map.n(), options);
    Verdict verdict = iteration->Start((x = map.start()).data());
    for (int i = 0; i < passes; ++i) {
      model(x);
      verdict = iteration->Pass(x.data());
    }
    EXPECT_EQ(verdict, passes > 0 ? Verdict::PassLimit : Verdict::Continue);
    record.assign(static_cast<std::size_t>(iteration->StateSize()), 0);
    EXPECT_TRUE(iteration->Save(record.data(), size()));
    return *iteration;
  }
  std::int64_t size() const { return static_cast<std::int64_t>(record.size()); }

  Map map{Kind::kSpread, 3};
  const Model model = [this](Vector& v) { map.pass(v); };
  FixedPointOptions options;
  std::unique_ptr<FixedPoint> iteration;
  Vector x;
  std::vector<char> record;
};

TEST_F(SavedState, GoesOnBeyondAPassLimitToTheSameBits) {
  const Ended whole = iterate(map.start(), FixedPointOptions(), model);
  ASSERT_EQ(whole.verdict, Verdict::Converged);
  for (const int passes : {0, 1, 5, 10, 11, 12, 13, 20}) {
    SCOPED_TRACE(passes);
    make(passes);
    FixedPoint tomorrow(map.n(), FixedPointOptions());
    ASSERT_TRUE(tomorrow.Restore(record.data(), size()));
    const Ended restored = go_on(tomorrow, x, model);
    EXPECT_EQ(restored.verdict, Verdict::Converged);
    EXPECT_EQ(restored.counts.passes, whole.counts.passes);
    EXPECT_EQ(restored.x, whole.x);
  }
}

TEST_F(SavedState, IsRefusedIfDamagedCutOrOfAnotherKind) {
  const FixedPoint& saved = make(15);
  FixedPoint other(map.n(), FixedPointOptions());
  for (std::size_t i = 0; i < record.size(); i += i < 100 ? 1 : 97) {
    record[i] = static_cast<char>(record[i] ^ 4);
    ASSERT_FALSE(other.Restore(record.data(), size())) << "byte " << i;
    record[i] = static_cast<char>(record[i] ^ 4);
  }
  for (const std::int64_t cut : {std::int64_t{0}, std::int64_t{20}, size() - 1})
    EXPECT_FALSE(other.Restore(record.data(), cut));
  EXPECT_FALSE(saved.Save(record.data(), size() - 1));
  FixedPoint wider(map.n() + 1, FixedPointOptions()), plain(map.n(), with_method(FixedPointMethod::None));
  EXPECT_FALSE(wider.Restore(record.data(), size()));
  EXPECT_FALSE(plain.Restore(record.data(), size()));
  EXPECT_EQ(other.Pass(x.data()), Verdict::BadInput);  // as it was: not started
  EXPECT_TRUE(other.Restore(record.data(), size()));
}

TEST(CInterface, TakesTheSamePasses) {
  Map map(Kind::kBounds, 1);
  FixedPointOptions options;
  options.nominal = map.size.data();
  options.lower = map.lower.data();
  options.upper = map.upper.data();
  options.tolerance = 1e-6;
  const Ended expected = iterate(map.start(), options, [&](Vector& v) { map.pass(v); });
  corvidnum_fixed_point* const c = corvidnum_fixed_point_create(map.n());
  EXPECT_EQ(corvidnum_fixed_point_set(c, "tolerance", 1e-6), 1);
  EXPECT_EQ(corvidnum_fixed_point_set(c, "tolerance", 2), 0);
  EXPECT_EQ(corvidnum_fixed_point_get(c, "tolerance"), 1e-6);
  EXPECT_EQ(corvidnum_fixed_point_set_nominal(c, map.size.data()), 1);
  EXPECT_EQ(corvidnum_fixed_point_set_bounds(c, map.lower.data(), map.upper.data()), 1);
  Vector x = map.start();
  EXPECT_EQ(corvidnum_fixed_point_pass(c, x.data()), CORVIDNUM_FIXED_POINT_BAD_INPUT);
  int verdict = corvidnum_fixed_point_start(c, x.data());
  while (verdict == CORVIDNUM_FIXED_POINT_CONTINUE) {
    map.pass(x);
    verdict = corvidnum_fixed_point_pass(c, x.data());
  }
  EXPECT_EQ(verdict, static_cast<int>(expected.verdict));
  EXPECT_EQ(x, expected.x);
  std::int64_t passes = 0;
  corvidnum_fixed_point_counts(c, &passes, nullptr, nullptr, nullptr);
  EXPECT_EQ(passes, expected.counts.passes);
  corvidnum_fixed_point_destroy(c);
  EXPECT_EQ(corvidnum_fixed_point_start(nullptr, x.data()), CORVIDNUM_FIXED_POINT_NO_MEMORY);
}

// ---- Learned sizes

TEST(LearnedSizes, ForgetAStartFarTooLarge) {
  const double golden = (3 + std::sqrt(5.0)) / 2;  // the fixed point of the first model
  const Model root = [](Vector& x) { x[0] = std::sqrt(x[0]) + 1; };
  const Model slow = [](Vector& x) { x[0] = 0.95 * x[0] + 0.05; };
  const Model both = [](Vector& x) { x = {0.5 * x[0] + 0.5, std::sqrt(x[1]) + 1}; };
  for (const double start : {1e4, 1e9, 1e30}) {
    SCOPED_TRACE(start);
    for (const FixedPointMethod method : {FixedPointMethod::None, FixedPointMethod::Automatic}) {
      const Ended one = iterate({start}, with_method(method), root);
      EXPECT_EQ(one.verdict, Verdict::Converged);
      EXPECT_NEAR(one.x[0], golden, 1e-7);
      const Ended two = iterate({1e3, start}, with_method(method), both);
      EXPECT_NEAR(two.x[0], 1, 1e-7);
      EXPECT_NEAR(two.x[1], golden, 1e-7);
    }
  }
  EXPECT_NEAR(iterate({1e6}, with_method(FixedPointMethod::None), slow).x[0], 1, 1e-6);
}

TEST(LearnedSizes, LetUnknownsGoToZero) {
  // The second unknown is what remains of a difference, and ends in its rounding errors.
  const Model model = [](Vector& x) { x = {7 + 0.3 * x[0], 0.3 * (x[0] - 10) + 0.6 * x[1]}; };
  const Model alone = [](Vector& x) { x[0] *= 0.9; };
  for (const FixedPointMethod method : {FixedPointMethod::None, FixedPointMethod::Automatic}) {
    EXPECT_EQ(iterate({1, 1}, with_method(method, 200), model).verdict, Verdict::Converged);
    EXPECT_EQ(iterate({1}, with_method(method, 500), alone).verdict, Verdict::Converged);
  }
}

TEST(CInterface, RestoresWithThePresentSettings) {
  corvidnum_fixed_point* const c = corvidnum_fixed_point_create(1);
  corvidnum_fixed_point_set(c, "method", CORVIDNUM_FIXED_POINT_METHOD_NONE);
  corvidnum_fixed_point_set(c, "pass_limit", 5);
  Vector x = {0};
  const auto go_on = [&](int verdict) {
    while (verdict == CORVIDNUM_FIXED_POINT_CONTINUE) {
      x[0] = 0.9 * x[0] + 1;
      verdict = corvidnum_fixed_point_pass(c, x.data());
    }
    return verdict;
  };
  ASSERT_EQ(go_on(corvidnum_fixed_point_start(c, x.data())), CORVIDNUM_FIXED_POINT_PASS_LIMIT);
  const Vector expected = x;
  std::vector<char> record(static_cast<std::size_t>(corvidnum_fixed_point_state_size(c)));
  const auto size = static_cast<std::int64_t>(record.size());
  ASSERT_EQ(corvidnum_fixed_point_save(c, record.data(), size), 1);
  corvidnum_fixed_point_set(c, "pass_limit", 500);
  EXPECT_EQ(corvidnum_fixed_point_restore(c, record.data(), size - 1), 0);
  EXPECT_EQ(go_on(CORVIDNUM_FIXED_POINT_CONTINUE), CORVIDNUM_FIXED_POINT_PASS_LIMIT);  // as it was
  EXPECT_EQ(corvidnum_fixed_point_restore(c, record.data(), size), 1);
  EXPECT_EQ(corvidnum_fixed_point_next(c, x.data()), 1);
  EXPECT_EQ(x, expected);
  EXPECT_EQ(go_on(CORVIDNUM_FIXED_POINT_CONTINUE), CORVIDNUM_FIXED_POINT_CONVERGED);
  corvidnum_fixed_point_destroy(c);
}

TEST(CInterface, KeepsFormerBoundsIfMemoryIsRefused) {
  corvidnum_fixed_point* const c = corvidnum_fixed_point_create(2);
  const Vector lower = {0, 0}, upper = {5, 5}, others = {7, 7};
  ASSERT_EQ(corvidnum_fixed_point_set_bounds(c, lower.data(), upper.data()), 1);
  for (const int allocation : {1, 2}) {
    corvid_host::FailAllocation(allocation);
    EXPECT_EQ(corvidnum_fixed_point_set_bounds(c, others.data(), others.data()), 0);
    corvid_host::StopFailing();
    Vector x = {-3, 9};
    EXPECT_EQ(corvidnum_fixed_point_start(c, x.data()), CORVIDNUM_FIXED_POINT_CONTINUE);
    EXPECT_EQ(x, (Vector{0, 5}));
  }
  ASSERT_EQ(corvidnum_fixed_point_set_bounds(c, nullptr, others.data()), 1);
  Vector x = {-3, 9};
  EXPECT_EQ(corvidnum_fixed_point_start(c, x.data()), CORVIDNUM_FIXED_POINT_CONTINUE);
  EXPECT_EQ(x, (Vector{-3, 7}));
  corvidnum_fixed_point_destroy(c);
}

TEST(CInterface, TellsWhatTheClassTells) {
  const Model model = two_unknowns(0.9, -0.5);
  const FixedPointOptions options = with_method(FixedPointMethod::Multiple, 60);
  FixedPoint iteration(2, options);
  corvidnum_fixed_point* const c = corvidnum_fixed_point_create(2);
  corvidnum_fixed_point_set(c, "method", CORVIDNUM_FIXED_POINT_METHOD_MULTIPLE);
  corvidnum_fixed_point_set(c, "pass_limit", 60);
  double real[2] = {}, imaginary[2] = {}, of_c[2] = {}, imaginary_of_c[2] = {};
  EXPECT_EQ(corvidnum_fixed_point_eigenvalues(c, of_c, imaginary_of_c, 2), 0);
  Vector x = {0, 0}, y = x;
  Verdict verdict = iteration.Start(x.data());
  ASSERT_EQ(corvidnum_fixed_point_start(c, y.data()), static_cast<int>(verdict));
  int discarded = 0;
  while (verdict == Verdict::Continue) {
    model(x);
    model(y);
    verdict = iteration.Pass(x.data());
    ASSERT_EQ(corvidnum_fixed_point_pass(c, y.data()), static_cast<int>(verdict));
    FixedPointRecord record;
    ASSERT_TRUE(iteration.Record(0, record));
    std::int64_t pass;
    double change, radius, passes_ahead;
    int step, reason, eigenvalues;
    ASSERT_EQ(corvidnum_fixed_point_record(c, 0, &pass, &change, &step, &reason, &eigenvalues, &radius,
                                           &passes_ahead),
              1);
    EXPECT_EQ(pass, record.pass);
    EXPECT_EQ(change, record.change);
    EXPECT_EQ(step, static_cast<int>(record.step));
    EXPECT_EQ(reason, static_cast<int>(record.reason));
    EXPECT_EQ(eigenvalues, record.eigenvalues);
    EXPECT_EQ(std::isnan(radius) ? -1 : radius, std::isnan(record.radius) ? -1 : record.radius);
    EXPECT_EQ(std::isnan(passes_ahead) ? -1 : passes_ahead,
              std::isnan(record.passes_ahead) ? -1 : record.passes_ahead);
    if (record.step == FixedPointStep::Taken && ++discarded == 1) {
      verdict = iteration.Discard(x.data());
      ASSERT_EQ(corvidnum_fixed_point_discard(c, y.data()), static_cast<int>(verdict));
    }
    ASSERT_EQ(x, y);
  }
  EXPECT_GE(discarded, 1);
  EXPECT_EQ(corvidnum_fixed_point_record(c, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            1);
  EXPECT_EQ(
      corvidnum_fixed_point_record(c, 1000, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
      0);
  const int known = iteration.Eigenvalues(real, imaginary, 2);
  ASSERT_GE(known, 1);
  EXPECT_EQ(corvidnum_fixed_point_eigenvalues(c, of_c, imaginary_of_c, 2), known);
  EXPECT_EQ(Vector(of_c, of_c + 2), Vector(real, real + 2));
  EXPECT_EQ(Vector(imaginary_of_c, imaginary_of_c + 2), Vector(imaginary, imaginary + 2));
  corvidnum_fixed_point_destroy(c);
}

TEST(CInterface, CutsTextsToTheirRoom) {
  char text[8] = "1234567";
  corvidnum_fixed_point_text(CORVIDNUM_FIXED_POINT_CONVERGED, text, 5);
  EXPECT_EQ(std::string(text), std::string(TextOf(Verdict::Converged)).substr(0, 4));
  EXPECT_EQ(text[5], '6');
  corvidnum_fixed_point_text(CORVIDNUM_FIXED_POINT_CONVERGED, text, 0);
  corvidnum_fixed_point_text(CORVIDNUM_FIXED_POINT_CONVERGED, nullptr, 5);
  EXPECT_EQ(std::string(text), std::string(TextOf(Verdict::Converged)).substr(0, 4));

  const int count = corvidnum_fixed_point_option(-1, text, 8, nullptr, nullptr, nullptr);
  EXPECT_EQ(count, FixedPoint::OptionCount());
  corvidnum_fixed_point* const c = corvidnum_fixed_point_create(1);
  for (int i = 0; i < count; ++i) {
    char name[64];
    double lowest, standard, highest;
    corvidnum_fixed_point_option(i, name, 64, &lowest, &standard, &highest);
    EXPECT_EQ(corvidnum_fixed_point_get(c, name), standard) << name;
    EXPECT_EQ(corvidnum_fixed_point_set(c, name, highest), 1) << name;
    EXPECT_EQ(corvidnum_fixed_point_set(c, name, lowest), 1) << name;
    EXPECT_EQ(corvidnum_fixed_point_set(c, name, lowest - 1), 0) << name;
  }
  corvidnum_fixed_point_destroy(c);
}

TEST(HandedOut, TakesADiscardedStepBackLikeOneBehindWhichThePassFails) {
  const Model model = [](Vector& x) { x = {1 + 0.93 * x[0], 1 + 0.5 * x[1], 1 + 0.2 * x[2]}; };
  const Vector sizes = {1, 1, 1};
  const auto passes_behind = [&](FixedPointOptions options, bool discards) {
    options.nominal = sizes.data();
    FixedPoint iteration(3, options);
    Vector x = {0, 0, 0};
    Verdict verdict = iteration.Start(x.data());
    FixedPointRecord newest = {};
    while (verdict == Verdict::Continue && newest.step != FixedPointStep::Taken) {
      model(x);
      verdict = iteration.Pass(x.data());
      iteration.Record(0, newest);
    }
    if (discards) {
      verdict = iteration.Discard(x.data());
    } else {
      x[0] = kNaN;
      verdict = iteration.Pass(x.data());
    }
    const std::int64_t before = iteration.Counts().passes;
    return go_on(iteration, x, model, verdict).counts.passes - before;
  };
  for (const FixedPointMethod method : {FixedPointMethod::Dominant, FixedPointMethod::Automatic})
    EXPECT_EQ(passes_behind(with_method(method), true), passes_behind(with_method(method), false));
}

TEST_F(SavedState, TellsTheVectorToEvaluateNext) {
  for (const int passes : {0, 5, 12, 13}) {  // the last two are around the first step
    make(passes);
    FixedPoint tomorrow(map.n(), FixedPointOptions());
    Vector next(x.size(), kNaN);
    EXPECT_FALSE(tomorrow.Next(next.data()));
    ASSERT_TRUE(tomorrow.Restore(record.data(), size()));
    EXPECT_TRUE(tomorrow.Next(next.data()));
    EXPECT_EQ(next, x) << passes;
  }
  FixedPoint converging(map.n(), FixedPointOptions());
  const Verdict begun = converging.Start((x = map.start()).data());
  go_on(converging, x, model, begun);
  EXPECT_FALSE(converging.Next(x.data()));
}

}  // namespace
