// The column under acceleration: fewer passes, the same answer, and no step kept that made it worse.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "accel/accel.h"
#include "accel/dom_eigen_accel.h"
#include "apps/column/acceleration.h"
#include "apps/column/bubble_point.h"
#include "apps/column/closure.h"
#include "apps/column/method_comparison.h"
#include "tests/apps/column_cases.h"

namespace column {
namespace {

constexpr auto kDominant = Acceleration::kDominant, kMultiple = Acceleration::kMultiple;

Solution plain(const ColumnCase& c) { return solve(c, internal_flows(c), Solver::kArrow); }

TEST(ColumnAcceleration, TakesAtMostHalfOfThePassesOfTheSplitter) {
  const struct {
    AccelerationSettings settings;
    double tolerance;
    int evaluations, half;  // at most; of the published passes where there are any
  } runs[] = {
      {{kDominant}, 1e-6, 34, 34},  {{kDominant}, 1e-10, 54, 54},      {{kMultiple}, 1e-6, 24, 34},
      {{kMultiple}, 1e-10, 28, 54}, {{kMultiple, 5, 4}, 1e-8, 20, 44}, {{kDominant, 1, 1}, 1e-8, 44, 44},
  };
  ColumnCase c = shipped("butane-pentane");
  for (const auto& run : runs) {
    SCOPED_TRACE(&run - runs);
    c.tolerance = run.tolerance;
    const InternalFlows flows = internal_flows(c);
    const Solution s = solve(c, flows, Solver::kArrow, run.settings);
    ASSERT_EQ(s.outcome, Outcome::kOk) << s.complaint;
    EXPECT_LE(s.evaluations, run.evaluations);
    EXPECT_LE(2 * run.half, plain(c).passes());
    EXPECT_GE(s.steps.accepted, 1);
    EXPECT_EQ(s.evaluations, s.passes() + s.steps.taken_back);
    EXPECT_LE(closure(c, flows, s.profile).worst(), 1e-12);
  }
}

TEST(ColumnAcceleration, ComparisonNoticesAnswersApartAndRunsThatFail) {
  ColumnCase c = shipped("butane-pentane");
  MethodComparison comparison = compare_methods(c, internal_flows(c), {}, nullptr);
  ASSERT_EQ(comparison.runs.size(), 3u);
  for (const auto* run : {&comparison.runs[1], &comparison.runs[2]})
    EXPECT_TRUE(run->apart > 0 && run->apart < 1e-6) << run->name;
  for (const double apart : {2e-6, std::nan("")}) {
    comparison.runs[1].apart = apart;
    EXPECT_EQ(comparison.disagreeing(), &comparison.runs[1]);
  }
  c.max_passes = 50;
  comparison = compare_methods(c, internal_flows(c), {}, nullptr);
  ASSERT_EQ(comparison.runs.size(), 1u);
  EXPECT_EQ(comparison.failed(), &comparison.runs[0]);
}

TEST(ColumnAcceleration, TakesBackTheStepsThatMakeItWorse) {
  ColumnCase c = shipped("butane-pentane");
  c.reflux_ratio = 5;  // hard for one eigenvalue: several lie close to 1
  c.max_passes = 1000;
  const InternalFlows flows = internal_flows(c);
  const Solution direct = plain(c);
  ASSERT_EQ(direct.outcome, Outcome::kOk) << direct.complaint;
  const Solution s = solve(c, flows, Solver::kArrow, {kDominant});
  ASSERT_EQ(s.outcome, Outcome::kOk) << s.complaint;
  EXPECT_GT(s.steps.taken_back, 0);
  EXPECT_GT(s.steps.accepted, s.steps.taken_back);
  EXPECT_EQ(s.evaluations, s.passes() + s.steps.taken_back);
  EXPECT_LT(3 * s.evaluations, direct.passes());
  EXPECT_LE(largest_change(direct.profile.temperature, s.profile.temperature), 200 * c.tolerance);
}

/// Whenever it may, steps to where nothing good can come of it.
class Leap : public Accel {
 public:
  /// @param longest  out: the largest element of a difference that this accelerator would build on
  Leap(int length, double target, double& longest)
      : Accel(length, 2, 0), target_(target), longest_(longest) {}
  unsigned char Accelerate(double* x) override {
    NewVector(x);
    for (int i = 0; Iter() > 1 && i < NumVar(); ++i)
      if (!(std::fabs(History(0)[i]) <= longest_)) longest_ = std::fabs(History(0)[i]);
    if (!OKToAccelerate()) return 0;
    WorkVector(x);
    std::fill(x, x + NumVar(), target_);
    PerformedAcceleration(x);
    return 1;
  }

 private:
  double target_;
  double& longest_;
};

TEST(ColumnAcceleration, ABadStepLeavesNoTrace) {
  constexpr double kUnit = 0x1p-20;
  const struct {
    double target;           // of all temperatures
    bool costs_evaluations;  // it takes a pass to find out
  } leaps[] = {{HUGE_VAL, false}, {std::nan(""), false},
               {1e-3, true},                     // the K-values overflow
               {0.0, true},                      // a division by zero
               {-1e300, true},    {700, true}};  // flat again
  const ColumnCase c = shipped("butane-pentane");
  const InternalFlows flows = internal_flows(c);
  const Solution direct = plain(c);
  for (const auto& leap : leaps) {
    SCOPED_TRACE(leap.target);
    double longest = 0;
    Accelerator accelerator(std::unique_ptr<Accel>(new Leap(c.stages, leap.target / kUnit, longest)), 7,
                            kUnit);
    const Solution s = solve(c, flows, Solver::kArrow, &accelerator);
    ASSERT_EQ(s.outcome, Outcome::kOk) << s.complaint;
    EXPECT_EQ(s.changes, direct.changes);
    EXPECT_EQ(s.profile.temperature, direct.profile.temperature);
    EXPECT_EQ(s.steps.accepted, (direct.passes() - 1) / 7);
    EXPECT_EQ(s.steps.taken_back, s.steps.accepted);
    EXPECT_EQ(s.steps.refused, 0);
    EXPECT_EQ(longest * kUnit, *std::max_element(direct.changes.begin() + 1, direct.changes.end()));
    EXPECT_EQ(s.evaluations, direct.passes() + (leap.costs_evaluations ? s.steps.taken_back : 0));
  }
}

TEST(ColumnAcceleration, CountsTheStepsThatAreDueAndRefused) {
  const ColumnCase c = shipped("butane-pentane");
  const InternalFlows flows = internal_flows(c);
  for (const int frequency : {1, 4, 30}) {
    std::unique_ptr<Accel> accel(new DomEigenAccel(c.stages, 2, 1, 0, 0, 0));
    accel->SetNoiseTolerance(HUGE_VAL);  // everything is noise
    Accelerator accelerator(std::move(accel), frequency, 1.0);
    const Solution s = solve(c, flows, Solver::kArrow, &accelerator);
    ASSERT_EQ(s.outcome, Outcome::kOk) << s.complaint;
    EXPECT_EQ(s.changes, plain(c).changes);
    EXPECT_EQ(s.steps.accepted, 0);
    EXPECT_EQ(s.steps.refused, s.passes() - std::max(3, frequency));  // the last pass is not handed over
  }
}

}  // namespace
}  // namespace column
