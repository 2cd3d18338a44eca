// FixedPoint on the programs' models: Cavett's recycle, and the temperatures of the butane-pentane splitter.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "accel/fixed_point.h"
#include "apps/column/bubble_point.h"
#include "apps/column/case_file.h"
#include "apps/recycle/case_file.h"

namespace {

using namespace corvidnum;
using Vector = std::vector<double>;
using Model = std::function<Vector(const Vector&)>;

/// Iterates with the unknowns in another order if `shuffled`. All have the same nominal size.
std::int64_t passes(Vector x, double nominal, FixedPointOptions options, const Model& model,
                    bool shuffled = false) {
  const std::size_t n = x.size();
  std::vector<std::size_t> order(n);
  std::iota(order.begin(), order.end(), std::size_t{0});
  if (shuffled) std::shuffle(order.begin(), order.end(), std::mt19937(5));
  const Vector sizes(n, nominal), zeros(n, 0.0);
  options.nominal = sizes.data();
  options.lower = zeros.data();
  const auto to_iteration = [&](const Vector& from, Vector& to) {
    for (std::size_t i = 0; i < n; ++i) to[i] = from[order[i]];
  };
  Vector natural = x;
  to_iteration(natural, x);
  FixedPoint iteration(static_cast<int>(n), options);
  FixedPointVerdict verdict = iteration.Start(x.data());
  while (verdict == FixedPointVerdict::Continue) {
    for (std::size_t i = 0; i < n; ++i) natural[order[i]] = x[i];
    to_iteration(model(natural), x);
    verdict = iteration.Pass(x.data());
  }
  EXPECT_EQ(verdict, FixedPointVerdict::Converged);
  return iteration.Counts().passes;
}

struct Most {
  FixedPointMethod method;
  std::int64_t passes;
};

TEST(FixedPointCases, CavettTakesFewPassesInAnyOrder) {
  const recycle::RecycleCase c = recycle::read_case(RECYCLE_CASES "/cavett.toml");
  const auto run = [&](FixedPointMethod method, const std::vector<std::string>& tears, bool shuffled) {
    const recycle::Plan plan = recycle::make_plan(c.flowsheet, tears);
    FixedPointOptions options;
    options.method = method;
    return passes(
        recycle::start_vector(c.flowsheet, plan), c.flowsheet.total_feed(), options,
        [&](const Vector& x) { return recycle::run_pass(c.flowsheet, plan, x).tears; }, shuffled);
  };
  for (const Most most : {Most{FixedPointMethod::Dominant, 39},
                          {FixedPointMethod::Multiple, 24},
                          {FixedPointMethod::Automatic, 31}}) {
    SCOPED_TRACE(TextOf(most.method));
    const std::int64_t taken = run(most.method, c.tears, false);
    EXPECT_LE(taken, most.passes);
    const double tenth = 0.1 * static_cast<double>(taken);
    EXPECT_NEAR(static_cast<double>(run(most.method, c.tears, true)), static_cast<double>(taken), tenth);
    EXPECT_NEAR(static_cast<double>(run(most.method, {"R3", "Z1"}, false)), static_cast<double>(taken),
                tenth);
  }
}

TEST(FixedPointCases, SplitterTakesFewPassesInAnyOrder) {
  const column::ColumnCase c = column::read_case(COLUMN_CASES "/butane-pentane.toml");
  const column::InternalFlows flows = column::internal_flows(c);
  column::BubblePointMethod method(c, flows, column::Solver::kArrow);
  Vector start;
  ASSERT_EQ(method.start(start), column::Outcome::kOk);
  const Model model = [&](const Vector& temperatures) {
    Vector next;
    EXPECT_EQ(method.pass(temperatures, next), column::Outcome::kOk);
    return next;
  };
  // With FixedPoint's own least passes between steps, and with those of the column program.
  const struct {
    FixedPointMethod method;
    int least_between;
    std::int64_t passes;
  } rows[] = {{FixedPointMethod::Dominant, 0, 34},
              {FixedPointMethod::Dominant, 4, 34},
              {FixedPointMethod::Multiple, 0, 24},
              {FixedPointMethod::Multiple, 4, 21},
              {FixedPointMethod::Automatic, 4, 21}};
  for (const auto& most : rows) {
    SCOPED_TRACE(TextOf(most.method));
    FixedPointOptions options;
    options.method = most.method;
    options.least_between = most.least_between;
    const std::int64_t taken = passes(start, 1, options, model);
    EXPECT_LE(taken, most.passes);
    EXPECT_NEAR(static_cast<double>(passes(start, 1, options, model, true)), static_cast<double>(taken),
                0.1 * static_cast<double>(taken));
  }
}

}  // namespace
