#include "apps/column/bubble_point.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <new>
#include <numeric>
#include <utility>

#include "apps/column/memory_watch.h"
#include "apps/common/wording.h"

namespace column {
namespace {

bool all_finite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

/// Returns |a - b| relative to the larger magnitude, which counts as at least `floor`. Returns infinity where
/// one of the values is not finite, because std::max() can lose a NaN.
double relative_difference(double a, double b, double floor) {
  if (a == b) return 0;
  const double difference = std::fabs(a - b) / std::max({std::fabs(a), std::fabs(b), floor});
  return std::isfinite(difference) ? difference : HUGE_VAL;
}

double largest_difference(const std::vector<double>& a, const std::vector<double>& b, double floor = 0) {
  double largest = 0;
  for (std::size_t j = 0; j < a.size(); ++j)
    largest = std::max(largest, relative_difference(a[j], b[j], floor));
  return largest;
}

double largest_difference(const std::vector<std::vector<double>>& a,
                          const std::vector<std::vector<double>>& b) {
  double largest = 0;
  for (std::size_t i = 0; i < a.size(); ++i) largest = std::max(largest, largest_difference(a[i], b[i]));
  return largest;
}

using corvidnum::FixedPoint;
using corvidnum::FixedPointRecord;
using corvidnum::FixedPointVerdict;

/// Nominal size of a temperature, in degrees: it brings all tolerances of cases into the range of FixedPoint
/// and, being a power of two, rounds no change.
constexpr double kNominalDegrees = 16;

FixedPoint make_iteration(const ColumnCase& c, const AccelerationSettings& settings) {
  const std::vector<double> nominal(c.stages, kNominalDegrees);
  corvidnum::FixedPointOptions options;
  options.method = settings.method;
  options.eigenvalues = settings.eigenvalues;
  options.least_between = settings.frequency;
  options.tolerance = c.tolerance / kNominalDegrees;
  options.pass_limit = c.max_passes;
  options.nominal = nominal.data();
  return FixedPoint(c.stages, options);
}

/// Repeats passes from `temperatures` on until the iteration ends. What cannot be evaluated is discarded.
/// @param s  out: changes, steps of the accelerator, and the outcome of the last pass
FixedPointVerdict iterate(FixedPoint& iteration, BubblePointMethod& method, std::vector<double>& temperatures,
                          Solution& s) {
  std::vector<double> next;
  FixedPointVerdict verdict = iteration.Start(temperatures.data());
  while (verdict == FixedPointVerdict::Continue) {
    s.outcome = method.pass(temperatures, next);
    if (s.outcome == Outcome::kNoMemory) break;
    if (s.outcome != Outcome::kOk) {
      verdict = iteration.Discard(temperatures.data());
      continue;
    }
    temperatures.swap(next);
    verdict = iteration.Pass(temperatures.data());
    FixedPointRecord record;
    iteration.Record(0, record);
    if (record.step == corvidnum::FixedPointStep::Taken) s.extrapolated.push_back(s.passes());
    s.changes.push_back(kNominalDegrees * record.change);
  }
  return verdict;
}

/// Says why the passes of an iteration, all of which could be computed, have not converged.
std::string complaint_about(FixedPointVerdict verdict, const FixedPointRecord& last, const ColumnCase& c) {
  const std::string change = fmt::format("{:.2e} {} (tolerance {:g})", kNominalDegrees * last.change,
                                         c.model->scale().unit, c.tolerance);
  const std::string passes = apps::counted(last.pass, "pass");
  if (verdict == FixedPointVerdict::Diverging)
    return fmt::format("after {} the changes grow, the last to {}: the dominant eigenvalue is about {:.6g}",
                       passes, change, last.radius);
  if (verdict == FixedPointVerdict::Stalled)
    return fmt::format("after {} the changes no longer fall, the last being {}", passes, change);
  std::string text = fmt::format("after {} the largest change is still {}", passes, change);
  if (last.passes_ahead >= 0 && std::isfinite(last.passes_ahead))
    text += fmt::format("; to go by the last ones, some {:.0f} more are needed without acceleration",
                        last.passes_ahead);
  return text;
}

/// Runs the iteration, and sets everything in `s` but complaints of the method and the time.
void iterate_and_judge(const ColumnCase& c, BubblePointMethod& method, const AccelerationSettings& settings,
                       DebugOut* log, std::vector<double>& temperatures, Solution& s) {
  FixedPoint iteration = make_iteration(c, settings);
  iteration.StartBasicDebug(log);
  const FixedPointVerdict verdict = iterate(iteration, method, temperatures, s);
  s.accelerated = settings.method != Acceleration::None;
  s.counts = iteration.Counts();
  if (s.outcome != Outcome::kOk) return;
  FixedPointRecord last = {};
  iteration.Record(0, last);
  s.eigenvalue = last.radius;
  if (verdict == FixedPointVerdict::Converged) {
    s.outcome = method.compositions(temperatures, s.profile);
    return;
  }
  s.outcome = verdict == FixedPointVerdict::PassLimit ? Outcome::kTooManyPasses : Outcome::kNotConverging;
  s.complaint = complaint_about(verdict, last, c);
}

}  // namespace

BubblePointMethod::BubblePointMethod(const ColumnCase& c, const InternalFlows& flows, Solver solver)
    : case_(c), balance_(c, flows), matrix_(balance_.make_matrix(solver)) {
  for (int i = 0; i < c.model->components(); ++i) right_sides_.push_back(balance_.right_side(i));
}

Outcome BubblePointMethod::fail(Outcome outcome, std::string complaint) {
  complaint_ = std::move(complaint);
  return outcome;
}

Outcome BubblePointMethod::start(std::vector<double>& temperatures) const {
  if (!case_.start_profile.empty()) {
    temperatures = case_.start_profile;
    return Outcome::kOk;
  }
  std::optional<double> flat = case_.start_temperature;
  if (!flat) {
    const TemperatureScale scale = case_.model->scale();
    const double middle = 0.5 * (scale.lowest + scale.highest);
    flat = bubble_temperature(*case_.model, total_feed(case_), case_.pressure, middle);
  }
  if (!flat) return Outcome::kNoBubblePoint;
  temperatures.assign(case_.stages, *flat);
  return Outcome::kOk;
}

Outcome BubblePointMethod::compositions(const std::vector<double>& temperatures, Profile& profile) {
  if (!matrix_ || !matrix_->Valid()) return fail(Outcome::kNoMemory, "no memory for the balances");
  if (!all_finite(temperatures)) return fail(Outcome::kNotFinite, "a stage temperature is not finite");
  const int components = case_.model->components();
  const int n = balance_.stages();
  profile.temperature = temperatures;
  profile.liquid.assign(components, {});
  profile.k.assign(components, std::vector<double>(n));
  std::vector<double> solution(balance_.order());
  for (int i = 0; i < components; ++i) {
    const std::string& name = case_.components[i];
    for (int j = 0; j < n; ++j)
      profile.k[i][j] = std::exp(case_.model->ln_k(i, temperatures[j], case_.pressure).value);
    if (!all_finite(profile.k[i])) return fail(Outcome::kNotFinite, "K-values of " + name + " overflow");
    balance_.fill(*matrix_, profile.k[i]);
    std::vector<double> b = right_sides_[i];  // a copy: solving destroys it
    int info = 0;
    if (matrix_->Solve(solution.data(), b.data(), info) != Matrix::MatrixOK)
      return fail(Outcome::kSingular, "the balances of " + name + " are singular");
    if (!all_finite(solution)) return fail(Outcome::kNotFinite, "the flows of " + name + " are not finite");
    profile.liquid[i].assign(solution.begin(), solution.begin() + n);
  }
  return Outcome::kOk;
}

Outcome BubblePointMethod::pass(const std::vector<double>& temperatures, std::vector<double>& next) {
  Profile profile;
  if (const Outcome outcome = compositions(temperatures, profile); outcome != Outcome::kOk) return outcome;
  next.resize(temperatures.size());
  std::vector<double> liquid(profile.liquid.size());
  for (int j = 0; j < balance_.stages(); ++j) {
    for (std::size_t i = 0; i < liquid.size(); ++i) liquid[i] = profile.liquid[i][j];
    const std::optional<double> bubble =
        bubble_temperature(*case_.model, liquid, case_.pressure, profile.temperature[j]);
    if (!bubble || !std::isfinite(*bubble))
      return fail(Outcome::kNoBubblePoint, fmt::format("the liquid of stage {} has no bubble point", j + 1));
    next[j] = *bubble;
  }
  return Outcome::kOk;
}

int Solution::passes_to(double tolerance) const {
  const auto below = [tolerance](double change) { return change < tolerance; };
  const auto found = std::find_if(changes.begin(), changes.end(), below);
  return found == changes.end() ? 0 : static_cast<int>(found - changes.begin()) + 1;
}

Solution solve(const ColumnCase& c, const InternalFlows& flows, Solver solver,
               const AccelerationSettings& settings, DebugOut* log) {
  const auto begin = std::chrono::steady_clock::now();
  const MemoryWatch memory;
  BubblePointMethod method(c, flows, solver);
  Solution s;
  std::vector<double> temperatures;
  if (s.outcome = method.start(temperatures); s.outcome != Outcome::kOk) {
    s.complaint = "the feed has no bubble point at this pressure";
    return s;
  }
  iterate_and_judge(c, method, settings, log, temperatures, s);
  if (memory.refused()) {  // tested first: a log goes on without the memory that it was refused
    s.outcome = Outcome::kNoMemory;
    s.complaint = kMemoryRefused;
  } else if (s.outcome != Outcome::kOk && s.complaint.empty()) {
    s.complaint = fmt::format("in pass {}: {}", s.passes() + 1, method.complaint());
  }
  s.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  return s;
}

double solver_difference(const ColumnCase& c, const InternalFlows& flows,
                         const std::vector<double>& temperatures) {
  Profile arrow, dense;
  const MemoryWatch memory;
  const bool solved =
      BubblePointMethod(c, flows, Solver::kArrow).compositions(temperatures, arrow) == Outcome::kOk &&
      BubblePointMethod(c, flows, Solver::kDense).compositions(temperatures, dense) == Outcome::kOk;
  if (memory.refused()) throw std::bad_alloc();
  if (!solved) return HUGE_VAL;
  return largest_difference(arrow.liquid, dense.liquid);
}

double largest_change(const std::vector<double>& from, const std::vector<double>& to) {
  double largest = 0;
  for (std::size_t j = 0; j < from.size(); ++j) largest = std::max(largest, std::fabs(to[j] - from[j]));
  return largest;
}

ProfileDifference profile_difference(const Profile& a, const Profile& b) {
  // Differences are relative to at least this: the zero of a scale is arbitrary, so a temperature near it
  // would give a large relative difference.
  constexpr double kOneDegree = 1;
  return {largest_difference(a.temperature, b.temperature, kOneDegree),
          largest_difference(a.liquid, b.liquid)};
}

}  // namespace column
