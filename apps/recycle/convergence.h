#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/recycle/accelerator.h"
#include "apps/recycle/flowsheet.h"

namespace recycle {

/// Tolerances that mean something: below, rounding decides; above, what is called converged says nothing of
/// the products.
constexpr double kSmallestTolerance = 1e-15, kLargestTolerance = 1e-2;

/// What --max-passes and a case may allow.
constexpr int kMostPasses = 1'000'000;

struct RunSettings {
  AccelerationSettings acceleration;
  double tolerance = 1e-8;  // on the largest change of a torn rate in a pass, relative to the total feed
  int max_passes = 1000;
};

/// A change that grows beyond this factor in the pass after a step condemns the step. Below it the step
/// stays: it may stir up eigenvalues that die out by themselves.
constexpr double kTolerableGrowth = 2;

enum class StepOutcome {
  kNone,
  kRefused,         // by the tests of the accelerator
  kTaken,           // may still be undone in the next pass
  kUndoneNegative,  // it led to a rate below 0 or not finite, and was undone before any unit saw it
  kUndoneWorse,     // the step of the pass before made the change worse, or not finite, and was undone
};

struct PassRecord {
  double change;  // largest, relative to the total feed
  StepOutcome step;
};

struct RunResult {
  Method method = Method::kDirect;
  bool converged = false;
  std::string complaint;           // if not
  std::vector<PassRecord> passes;  // the last is the one that converged
  std::vector<Rates> streams;      // of the last pass
  std::optional<double> eigenvalue;
  int flashes = 0;  // evaluated

  int count(StepOutcome outcome) const;
  /// Taken and not undone.
  int accepted() const;
  /// For either reason.
  int undone() const;
};

/// Returns how far feeds and products of a converged run may be apart in a component, relative to the total
/// feed. Units keep all that enters them, so the change of the torn streams in the last pass is what is
/// missing.
double promised_imbalance(const Flowsheet& flowsheet, const Plan& plan, double tolerance);

/// Converges the torn streams from their start.
/// @throws std::runtime_error  if the host refuses memory to the accelerator or its log
RunResult converge(const Flowsheet& flowsheet, const Plan& plan, const RunSettings& settings);

/// A run to a much smaller tolerance, to measure `runs` of the same case by: the method among them that took
/// the fewest passes goes on further.
struct Reference {
  double tolerance;
  RunResult run;
};

/// @return nothing if no run has converged, or rounding keeps the changes above such a tolerance
std::optional<Reference> find_reference(const Flowsheet& flowsheet, const Plan& plan,
                                        const RunSettings& settings, const std::vector<RunResult>& runs);

/// Between any two rates of all streams, relative to the total feed.
double largest_difference(const Flowsheet& flowsheet, const RunResult& a, const RunResult& b);

}  // namespace recycle
