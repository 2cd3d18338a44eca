#include "apps/column/newton.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "apps/column/memory_watch.h"
#include "apps/column/newton_jacobian.h"
#include "apps/column/step_solver.h"

namespace column {
namespace {

constexpr int kStartPasses = 3;
constexpr int kMostSteps = 20;  // from one start

/// Returns the largest magnitude; infinite if one of them is not finite.
double norm(const std::vector<double>& values) {
  double largest = 0;
  for (const double v : values) largest = std::max(largest, std::isfinite(v) ? std::fabs(v) : HUGE_VAL);
  return largest;
}

/// One run. Fills the solution that it is given.
class NewtonMethod {
 public:
  NewtonMethod(const ColumnCase& c, const InternalFlows& flows, NewtonSolution& s)
      : case_(c), bubble_point_(c, flows, Solver::kArrow), system_(c, flows), s_(s) {}

  /// A start that the steps lead nowhere from is brought closer by as many passes again.
  void run() {
    if (fail(bubble_point_.start(temperatures_), "the feed has no bubble point at this pressure")) return;
    for (int passes = kStartPasses; pass_on(passes); passes = s_.start_passes) {
      if (converge()) return finish();
      if (s_.start_passes >= case_.max_passes) return;
    }
  }

 private:
  /// @return whether it is one
  bool fail(Outcome outcome, std::string complaint) {
    s_.outcome = outcome;
    s_.complaint = outcome == Outcome::kOk ? std::string() : std::move(complaint);
    return outcome != Outcome::kOk;
  }

  bool pass_on(int passes);
  bool converge();
  bool measure_step();
  double longest_part() const;
  bool take_step(bool settled);
  void finish();

  const ColumnCase& case_;
  BubblePointMethod bubble_point_;
  const ColumnSystem system_;
  NewtonSolution& s_;
  std::optional<StepSolver> solver_;
  std::vector<double> temperatures_;  // to which the bubble-point passes have come
  std::vector<double> unknowns_, residuals_;
  std::vector<double> step_;  // to be subtracted
};

/// Some more bubble-point passes, and the unknowns that they lead to.
bool NewtonMethod::pass_on(int passes) {
  Outcome outcome = Outcome::kOk;
  for (int i = 0; i < passes && outcome == Outcome::kOk; ++i, ++s_.start_passes) {
    const std::vector<double> before = temperatures_;
    outcome = bubble_point_.pass(before, temperatures_);
    if (outcome == Outcome::kOk) s_.changes.push_back(largest_change(before, temperatures_));
  }
  Profile profile;
  if (outcome == Outcome::kOk) outcome = bubble_point_.compositions(temperatures_, profile);
  if (fail(outcome, fmt::format("in bubble-point pass {}: {}", s_.start_passes, bubble_point_.complaint())))
    return false;
  unknowns_ = system_.unknowns(profile);
  residuals_ = system_.residuals(unknowns_);
  s_.residual = norm(residuals_);
  return true;
}

/// Steps until they settle.
bool NewtonMethod::converge() {
  for (int step = 0; step < kMostSteps; ++step) {
    const SparseEntries jacobian = system_.jacobian(unknowns_);
    if (!solver_) solver_.emplace(s_.solver, jacobian, system_.order());
    const bool solved = solver_->solve(jacobian, residuals_, step_);
    s_.pivot_orders = solver_->orders();
    if (!solved)
      return !fail(Outcome::kSingular, fmt::format("the system of step {} is singular", s_.steps + 1));
    const bool settled = measure_step();
    if (!take_step(settled))
      return !fail(Outcome::kNotFinite,
                   fmt::format("no part of step {} makes the residuals fall", s_.steps + 1));
    if (settled) return true;
  }
  return !fail(Outcome::kTooManyPasses, fmt::format("after {} steps the largest change is still {:.2e} {}",
                                                    s_.steps, s_.last_change, case_.model->scale().unit));
}

/// @return whether the step changes nothing that counts, so that it may be the last
bool NewtonMethod::measure_step() {
  constexpr double kSettled = 1e-9;  // steps shrink quadratically: the next one would be rounding
  double temperature = 0, liquid = 0;
  for (int j = 0; j < system_.stages(); ++j) {
    temperature = std::max(temperature, std::fabs(step_[system_.temperature(j)]));
    for (int i = 0; i < system_.components(); ++i)
      liquid = std::max(liquid, std::fabs(step_[system_.liquid(i, j)]));
  }
  s_.last_change = temperature;
  s_.changes.push_back(temperature);
  return temperature < case_.tolerance && liquid < kSettled;
}

/// Returns the part of the step, at most 1, that keeps all temperatures within the limits of the model.
double NewtonMethod::longest_part() const {
  constexpr double kOfTheWay = 0.9;
  const TemperatureScale scale = case_.model->scale();
  double part = 1;
  for (int j = 0; j < system_.stages(); ++j) {
    const double t = unknowns_[system_.temperature(j)], down = step_[system_.temperature(j)];
    const double room = down > 0 ? t - scale.lowest : scale.highest - t;
    if (std::fabs(down) * part >= room) part = kOfTheWay * room / std::fabs(down);
  }
  return part;
}

/// Takes as much of the step as makes the residuals fall.
/// @param settled  take all of it: it is too small for the residuals to tell
bool NewtonMethod::take_step(bool settled) {
  constexpr int kMostHalvings = 30;
  constexpr double kRounding = 1e-13;  // of residuals
  double part = longest_part();
  std::vector<double> trial(unknowns_.size());
  for (int halvings = 0; halvings <= kMostHalvings; ++halvings, part *= 0.5) {
    for (std::size_t i = 0; i < trial.size(); ++i) trial[i] = unknowns_[i] - part * step_[i];
    std::vector<double> residuals = system_.residuals(trial);
    const double size = norm(residuals);
    const bool falls = size < (1 - 1e-4 * part) * s_.residual;
    if (!std::isfinite(size) || !(falls || settled || size < kRounding)) continue;
    unknowns_.swap(trial);
    residuals_.swap(residuals);
    s_.residual = size;
    ++s_.steps;
    if (part < 1) ++s_.damped_steps;
    return true;
  }
  return false;
}

/// The answer. Rounding in the one system is a matter of the largest fractions; the balances of the single
/// components, at the temperatures found, give the smallest ones to all their digits too.
void NewtonMethod::finish() {
  s_.unknowns = system_.order();
  s_.entries = system_.jacobian(unknowns_).size();
  for (int j = 0; j < system_.stages(); ++j) temperatures_[j] = unknowns_[system_.temperature(j)];
  fail(bubble_point_.compositions(temperatures_, s_.profile), bubble_point_.complaint());
}

}  // namespace

NewtonSolution solve_newton(const ColumnCase& c, const InternalFlows& flows, StepMethod solver) {
  const auto begin = std::chrono::steady_clock::now();
  NewtonSolution s;
  s.solver = solver;
  const MemoryWatch memory;
  NewtonMethod(c, flows, s).run();
  if (memory.refused()) {  // which ended a step as a singular system does
    s.outcome = Outcome::kNoMemory;
    s.complaint = fmt::format("{} for step {}", kMemoryRefused, s.steps + 1);
  }
  s.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  return s;
}

double NewtonCheck::largest() const { return std::max(difference.temperature, difference.liquid); }

}  // namespace column
