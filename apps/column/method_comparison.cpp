// Runs one case without acceleration and with each acceleration, and compares the stage temperatures found.

#include "apps/column/method_comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace column {
namespace {

/// Returns how far apart answers of the same case may lie, in common units. The tolerance bounds the change
/// of one pass. A slowly converging iteration makes many such changes, so its error can be many tolerances.
double limit_on_difference(const ColumnCase& c) {
  constexpr double kCommonDegrees = 1e-6;
  constexpr double kTolerances = 100;
  return std::max(kCommonDegrees, kTolerances * c.tolerance * c.model->scale().common_degrees);
}

double distance(const ColumnCase& c, const Profile& a, const Profile& b) {
  return c.model->scale().common_degrees * largest_change(a.temperature, b.temperature);
}

std::string name_of(const AccelerationSettings& settings) {
  const char* const name = TextOf(settings.method);
  if (settings.method != Acceleration::Multiple) return name;
  return fmt::format("{}, {} eigenvalue{}", name, settings.eigenvalues, settings.eigenvalues == 1 ? "" : "s");
}

}  // namespace

const MethodComparison::Run* MethodComparison::failed() const {
  return runs.back().solution.outcome == Outcome::kOk ? nullptr : &runs.back();
}

const MethodComparison::Run* MethodComparison::disagreeing() const {
  const auto apart = [this](const Run& run) { return !(run.apart <= limit); };
  const auto found = std::find_if(runs.begin(), runs.end(), apart);
  return found == runs.end() ? nullptr : &*found;
}

MethodComparison compare_methods(const ColumnCase& c, const InternalFlows& flows,
                                 AccelerationSettings settings, DebugOut* log) {
  MethodComparison comparison;
  comparison.limit = limit_on_difference(c);
  for (const Acceleration method :
       {Acceleration::None, Acceleration::Dominant, Acceleration::Multiple, Acceleration::Automatic}) {
    settings.method = method;
    MethodComparison::Run run{name_of(settings), solve(c, flows, Solver::kArrow, settings, log)};
    const bool converged = run.solution.outcome == Outcome::kOk;
    if (converged && !comparison.runs.empty())
      run.apart = distance(c, comparison.runs.front().solution.profile, run.solution.profile);
    comparison.runs.push_back(std::move(run));
    if (!converged) break;
  }
  return comparison;
}

}  // namespace column
