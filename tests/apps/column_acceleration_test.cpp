// The column under acceleration: fewer passes, the same answer, and no step kept that made it worse.

#include <gtest/gtest.h>

#include <cmath>

#include "apps/column/acceleration.h"
#include "apps/column/bubble_point.h"
#include "apps/column/closure.h"
#include "apps/column/method_comparison.h"
#include "tests/apps/column_cases.h"

namespace column {
namespace {

constexpr auto kDominant = Acceleration::Dominant, kMultiple = Acceleration::Multiple,
               kAutomatic = Acceleration::Automatic;

Solution plain(const ColumnCase& c) { return solve(c, internal_flows(c), Solver::kArrow); }

TEST(ColumnAcceleration, TakesAtMostHalfOfThePassesOfTheSplitter) {
  const struct {
    AccelerationSettings settings;
    double tolerance;
    int passes, half;  // at most; of the published passes where there are any
  } runs[] = {
      {{kDominant}, 1e-6, 34, 34},  {{kDominant}, 1e-10, 54, 54},      {{kMultiple}, 1e-6, 24, 34},
      {{kMultiple}, 1e-10, 28, 54}, {{kMultiple, 5, 4}, 1e-8, 20, 44}, {{kDominant, 1, 1}, 1e-8, 34, 44},
      {{kMultiple}, 1e-8, 21, 44},  {{kAutomatic}, 1e-8, 21, 44},
  };
  ColumnCase c = shipped("butane-pentane");
  for (const auto& run : runs) {
    SCOPED_TRACE(&run - runs);
    c.tolerance = run.tolerance;
    const InternalFlows flows = internal_flows(c);
    const Solution s = solve(c, flows, Solver::kArrow, run.settings);
    ASSERT_EQ(s.outcome, Outcome::kOk) << s.complaint;
    EXPECT_LE(s.passes(), run.passes);
    EXPECT_LE(2 * run.half, plain(c).passes());
    EXPECT_GE(s.counts.steps_taken, 1);
    EXPECT_LE(closure(c, flows, s.profile).worst(), 1e-12);
  }
}

TEST(ColumnAcceleration, ComparisonNoticesAnswersApartAndRunsThatFail) {
  ColumnCase c = shipped("butane-pentane");
  MethodComparison comparison = compare_methods(c, internal_flows(c), {}, nullptr);
  ASSERT_EQ(comparison.runs.size(), 4u);
  for (std::size_t i = 1; i < 4; ++i)
    EXPECT_TRUE(comparison.runs[i].apart > 0 && comparison.runs[i].apart < 1e-6) << comparison.runs[i].name;
  for (const double apart : {2e-6, std::nan("")}) {
    comparison.runs[1].apart = apart;
    EXPECT_EQ(comparison.disagreeing(), &comparison.runs[1]);
  }
  c.max_passes = 50;
  comparison = compare_methods(c, internal_flows(c), {}, nullptr);
  ASSERT_EQ(comparison.runs.size(), 1u);
  EXPECT_EQ(comparison.failed(), &comparison.runs[0]);
}

TEST(ColumnAcceleration, HelpsWhereSeveralEigenvaluesLieCloseToOne) {
  ColumnCase c = shipped("butane-pentane");
  c.reflux_ratio = 5;
  c.max_passes = 1000;
  const InternalFlows flows = internal_flows(c);
  const Solution direct = plain(c);
  ASSERT_EQ(direct.outcome, Outcome::kOk) << direct.complaint;
  for (const Acceleration method : {kDominant, kMultiple, kAutomatic}) {
    SCOPED_TRACE(TextOf(method));
    const Solution s = solve(c, flows, Solver::kArrow, {method});
    ASSERT_EQ(s.outcome, Outcome::kOk) << s.complaint;
    EXPECT_LT(3 * s.passes(), direct.passes());
    EXPECT_LE(largest_change(direct.profile.temperature, s.profile.temperature), 200 * c.tolerance);
  }
}

TEST(ColumnAcceleration, TellsAStartThatCannotBeEvaluated) {
  ColumnCase c = shipped("butane-pentane");
  c.start_temperature = 1e-3;
  for (const Acceleration method : {Acceleration::None, kAutomatic}) {
    const Solution s = solve(c, internal_flows(c), Solver::kArrow, {method});
    EXPECT_EQ(s.outcome, Outcome::kNoBubblePoint);
    EXPECT_EQ(s.complaint, "in pass 1: the liquid of stage 1 has no bubble point");
  }
}

}  // namespace
}  // namespace column
