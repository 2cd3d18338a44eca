// The column as one system: its Jacobian against differences, its answers against the bubble-point method's.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/closure.h"
#include "apps/column/jacobian_ordering.h"
#include "apps/column/newton.h"
#include "apps/column/newton_jacobian.h"
#include "tests/apps/column_cases.h"

namespace column {
namespace {

/// Some state between the stages' pure components, solved by nothing.
std::vector<double> some_unknowns(const ColumnSystem& system, double first_temperature, double by_stage) {
  std::vector<double> u(static_cast<std::size_t>(system.order()));
  for (std::size_t i = 0; i < u.size(); ++i) u[i] = 0.1 + 0.05 * static_cast<double>(i % 7);
  for (int j = 0; j < system.stages(); ++j)
    u[static_cast<std::size_t>(system.temperature(j))] = first_temperature + by_stage * j;
  return u;
}

TEST(Newton, JacobianHoldsTheDerivativesOfTheResiduals) {
  const double kStep = 1e-4;
  for (const ColumnCase& c : all_cases()) {
    SCOPED_TRACE(c.title);
    const InternalFlows flows = internal_flows(c);
    const ColumnSystem system(c, flows);
    const double start = c.model->scale().unit == std::string("deg R") ? 600 : 0;
    std::vector<double> u = some_unknowns(system, start, 0.3);
    const SparseEntries entries = system.jacobian(u);
    std::set<std::pair<int, int>> places;
    const auto n = static_cast<std::size_t>(system.order());
    std::vector<std::vector<double>> by_column(n, std::vector<double>(n, 0.0));
    for (int e = 0; e < entries.size(); ++e) {
      const auto at = static_cast<std::size_t>(e);
      EXPECT_TRUE(places.emplace(entries.rows[at], entries.columns[at]).second) << "given twice";
      by_column.at(static_cast<std::size_t>(entries.columns[at] - 1))
          .at(static_cast<std::size_t>(entries.rows[at] - 1)) = entries.values[at];
    }
    for (std::size_t column = 0; column < n; ++column) {
      const double held = u[column];
      u[column] = held + kStep;
      const std::vector<double> above = system.residuals(u);
      u[column] = held - kStep;
      const std::vector<double> below = system.residuals(u);
      u[column] = held;
      for (std::size_t row = 0; row < n; ++row) {
        const double slope = (above[row] - below[row]) / (2 * kStep);
        ASSERT_NEAR(by_column[column][row], slope, 1e-7 * (1 + std::fabs(slope))) << row << ' ' << column;
      }
    }
    const SparseEntries elsewhere = system.jacobian(some_unknowns(system, start + 5, -0.2));
    EXPECT_EQ(elsewhere.rows, entries.rows);
    EXPECT_EQ(elsewhere.columns, entries.columns);
  }
}

TEST(Newton, ComesOutWhereTheBubblePointMethodDoes) {
  for (const ColumnCase& c : all_cases()) {
    SCOPED_TRACE(c.title);
    const InternalFlows flows = internal_flows(c);
    const Solution slow = solve(c, flows, Solver::kArrow);
    ASSERT_EQ(slow.outcome, Outcome::kOk) << slow.complaint;
    for (const StepMethod solver : {StepMethod::ma48, StepMethod::ma38}) {
      SCOPED_TRACE(corvidnum::MethodName(solver));
      const NewtonSolution newton = solve_newton(c, flows, solver);
      ASSERT_EQ(newton.outcome, Outcome::kOk) << newton.complaint;
      EXPECT_LE(NewtonCheck{profile_difference(slow.profile, newton.profile)}.largest(), NewtonCheck::kLimit);
      EXPECT_LE(newton.steps, 8);
      EXPECT_EQ(newton.pivot_orders, 1);
      const Closure closed = closure(c, flows, newton.profile);
      EXPECT_LE(closed.worst(), 1e-12);
      EXPECT_LE(closed.liquid_sum, 1e-12);
      EXPECT_LE(closed.vapour_sum, 1e-12);
    }
  }
}

/// A cycle: an entry each on the diagonal and behind it.
SparseEntries cycle(double diagonal, double other) {
  constexpr int kOrder = 8;
  SparseEntries entries;
  for (int i = 1; i <= kOrder; ++i) {
    entries.rows.insert(entries.rows.end(), {i, i});
    entries.columns.insert(entries.columns.end(), {i, i % kOrder + 1});
    entries.values.insert(entries.values.end(), {diagonal, other});
  }
  return entries;
}

TEST(StepSolver, ChoosesANewOrderWhereThePivotsFail) {
  for (const StepMethod method : {StepMethod::ma48, StepMethod::ma38}) {
    SCOPED_TRACE(corvidnum::MethodName(method));
    for (const double weak : {0.0, 1e-20}) {
      SCOPED_TRACE(weak);
      StepSolver solver(method, cycle(4, 1), 8);
      std::vector<double> x;
      const struct {
        double diagonal, other;
        int orders;
      } steps[] = {{4, 1, 1}, {5, 2, 1}, {weak, 2, 2}, {weak, 3, 2}};
      for (const auto& step : steps) {
        const std::vector<double> b(8, step.diagonal + step.other);
        ASSERT_TRUE(solver.solve(cycle(step.diagonal, step.other), b, x));
        EXPECT_EQ(solver.orders(), step.orders) << step.diagonal << ' ' << step.other;
        for (const double value : x) EXPECT_NEAR(value, 1, 1e-14);
      }
      EXPECT_FALSE(solver.solve(cycle(-1, 1), std::vector<double>(8, 1), x)) << "singular";
    }
  }
}

TEST(Newton, FarStartsAreDampedOrBroughtCloser) {
  ColumnCase hot = shipped("aromatics-pumparound");
  hot.start_temperature = 300;
  const NewtonSolution damped = solve_newton(hot, internal_flows(hot));
  ASSERT_EQ(damped.outcome, Outcome::kOk) << damped.complaint;
  EXPECT_GT(damped.damped_steps, 0);

  // Many stages, volatilities three decades apart: from the first start the steps lead nowhere.
  ColumnCase wide;
  wide.components = {"a", "b", "c"};
  wide.model = std::make_shared<RelativeVolatility>(std::vector<double>{1000, 30, 1});
  wide.stages = 40;
  wide.reflux_ratio = 2;
  wide.distillate = 1.4;
  wide.feeds.push_back({20, {1, 1, 1}, 1, 0});
  wide.tolerance = 1e-11;
  wide.max_passes = 3000;
  const InternalFlows flows = internal_flows(wide);
  const NewtonSolution newton = solve_newton(wide, flows);
  const Solution slow = solve(wide, flows, Solver::kArrow);
  ASSERT_EQ(newton.outcome, Outcome::kOk) << newton.complaint;
  ASSERT_EQ(slow.outcome, Outcome::kOk) << slow.complaint;
  EXPECT_GT(newton.start_passes, damped.start_passes);
  EXPECT_LE(NewtonCheck{profile_difference(slow.profile, newton.profile)}.largest(), NewtonCheck::kLimit);
}

TEST(Newton, ReorderingsAreNoWiderThanTheNumberingByStages) {
  const ColumnCase c = shipped("butane-pentane");
  const InternalFlows flows = internal_flows(c);
  const JacobianOrdering found = reorder_jacobian(c, flows, solve_newton(c, flows).profile);
  // 17 stages of 5 x and 1 T. From the second on each x is tied to its own one stage above, T to all of them.
  const int bandwidth = 11, profile = 5 + 16 * (5 * 6 + 11);
  EXPECT_EQ(found.for_bandwidth.before.bandwidth, bandwidth);
  EXPECT_LE(found.for_bandwidth.after.bandwidth, bandwidth);
  EXPECT_EQ(found.for_profile.before.profile, profile);
  EXPECT_LE(found.for_profile.after.profile, profile);
}

TEST(Newton, SaysWhyItDidNotConverge) {
  ColumnCase c = shipped("butane-pentane");
  c.start_temperature = std::numeric_limits<double>::quiet_NaN();
  NewtonSolution s = solve_newton(c, internal_flows(c));
  EXPECT_EQ(s.outcome, Outcome::kNotFinite);
  EXPECT_NE(s.complaint.find("in bubble-point pass 1: "), std::string::npos) << s.complaint;
  c.start_temperature.reset();
  c.tolerance = 0;  // no step is smaller
  c.max_passes = 10;
  s = solve_newton(c, internal_flows(c));
  EXPECT_EQ(s.outcome, Outcome::kTooManyPasses);
  EXPECT_NE(s.complaint.find("the largest change is still"), std::string::npos) << s.complaint;
  c.pressure = 1e9;
  EXPECT_EQ(solve_newton(c, internal_flows(c)).outcome, Outcome::kNoBubblePoint);
}

}  // namespace
}  // namespace column
