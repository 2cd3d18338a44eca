// Memory that is refused to the library, request by request over whole runs: each refusal is told as such.

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>

#include "apps/column/bubble_point.h"
#include "apps/column/case_file.h"
#include "apps/column/csv.h"
#include "apps/column/fit_command.h"
#include "apps/column/memory_watch.h"
#include "apps/column/newton.h"
#include "host/corvid_host.h"

namespace column {
namespace {

/// The profile, or the complaint.
template <class Answer>
std::string told(const ColumnCase& c, const InternalFlows& flows, const Answer& answer) {
  return answer.outcome == Outcome::kOk ? profile_csv(c, flows, answer.profile) : answer.complaint;
}

TEST(Memory, EachRefusalIsToldAsSuch) {
  corvid_host::SetLineSink([](void*, corvid_host::LineKind, const char*) {});  // the library tells, too
  const ColumnCase c = read_case(COLUMN_CASES "/butane-pentane.toml");
  const InternalFlows flows = internal_flows(c);
  const std::string file = testing::TempDir() + "/column-memory.properties";
  const auto bubble_point = [&](Solver solver, Acceleration kind) {
    return told(c, flows, solve(c, flows, solver, {kind, 4, 4}));
  };
  const std::function<std::string()> parts[] = {
      [&] { return bubble_point(Solver::kArrow, Acceleration::kNone); },
      [&] { return bubble_point(Solver::kDense, Acceleration::kNone); },
      [&] { return bubble_point(Solver::kArrow, Acceleration::kDominant); },
      [&] { return bubble_point(Solver::kArrow, Acceleration::kMultiple); },
      [&] { return told(c, flows, solve_newton(c, flows, StepMethod::kMa48)); },
      [&] { return told(c, flows, solve_newton(c, flows, StepMethod::kMa38)); },
      [&] { return store_and_recall(file, read_tables({COLUMN_DATA "/benzene.csv"})); },
      [&] {
        const ColumnCase measured = read_case(COLUMN_CASES "/measured.toml");
        const InternalFlows own_flows = internal_flows(measured);
        return told(measured, own_flows, solve(measured, own_flows, Solver::kArrow));
      }};
  int number = 0, refusals = 0;
  for (const auto& part : parts) {
    SCOPED_TRACE(number++);
    const std::string good = part();
    for (const auto& fail : {corvid_host::FailAllocation, corvid_host::FailAllocationsFrom}) {
      for (int request = 1;; ++request) {
        SCOPED_TRACE(request);
        const auto before = corvid_host::RefusedAllocations();
        fail(request);
        std::string said;
        try {
          said = part();
        } catch (const std::bad_alloc&) {
          said = kMemoryRefused;  // as the program says
        } catch (const std::exception& error) {
          said = error.what();
        }
        corvid_host::StopFailing();
        if (corvid_host::RefusedAllocations() == before) {
          EXPECT_EQ(said, good);
          break;
        }
        ++refusals;
        ASSERT_NE(said.find("memory"), std::string::npos) << said;
      }
    }
  }
  EXPECT_GT(refusals, 100);
  corvid_host::SetLineSink(nullptr);
}

}  // namespace
}  // namespace column
