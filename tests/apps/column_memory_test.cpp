// Memory that is refused to the library, request by request over whole runs: each refusal is told as such.

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>

#include "apps/column/bubble_point.h"
#include "apps/column/csv.h"
#include "apps/column/fit_command.h"
#include "apps/column/newton.h"
#include "tests/apps/column_cases.h"
#include "tests/apps/refusals.h"

namespace column {
namespace {

TEST(Memory, EachRefusalIsToldAsSuch) {
  corvid_host::SetLineSink([](void*, corvid_host::LineKind, const char*) {});  // the library tells, too
  const ColumnCase c = shipped("butane-pentane");
  const InternalFlows flows = internal_flows(c);
  const std::string file = testing::TempDir() + "/column-memory.properties";
  const auto told = [](const ColumnCase& of, const auto& answer) {
    return answer.outcome == Outcome::kOk ? profile_csv(of, internal_flows(of), answer.profile)
                                          : answer.complaint;
  };
  const auto bubble_point = [&](Solver solver, Acceleration method) {
    return told(c, solve(c, flows, solver, {method, 4, 4}));
  };
  const std::function<std::string()> parts[] = {
      [&] { return bubble_point(Solver::kArrow, Acceleration::None); },
      [&] { return bubble_point(Solver::kDense, Acceleration::None); },
      [&] { return bubble_point(Solver::kArrow, Acceleration::Dominant); },
      [&] { return bubble_point(Solver::kArrow, Acceleration::Multiple); },
      [&] { return bubble_point(Solver::kArrow, Acceleration::Automatic); },
      [&] { return told(c, solve_newton(c, flows, StepMethod::ma48)); },
      [&] { return told(c, solve_newton(c, flows, StepMethod::ma38)); },
      [&] { return store_and_recall(file, read_tables({COLUMN_DATA "/benzene.csv"})); },
      [&] {
        const ColumnCase measured = shipped("measured");
        return told(measured, solve(measured, internal_flows(measured), Solver::kArrow));
      }};
  int refusals = 0;
  for (const auto& part : parts) {
    SCOPED_TRACE(&part - parts);
    refusals += expect_refusals_told(part, INT_MAX);
  }
  EXPECT_GT(refusals, 100);
  corvid_host::SetLineSink(nullptr);
}

}  // namespace
}  // namespace column
