#pragma once

// Converges the torn streams of a flowsheet by corvidnum::FixedPoint.

#include <optional>
#include <string>
#include <vector>

#include "accel/fixed_point.h"
#include "apps/recycle/flowsheet.h"

class DebugOut;

namespace recycle {

/// Tolerances that mean something: below, rounding decides; above, what is called converged says nothing of
/// the products.
constexpr double kSmallestTolerance = 1e-15, kLargestTolerance = 1e-2;

/// What --max-passes and a case may allow.
constexpr int kMostPasses = 1'000'000;

using Method = corvidnum::FixedPointMethod;
/// Returns the name by which the program knows a method: "direct" for None.
const char* name_of(Method method);

struct AccelerationSettings {
  Method method = Method::Automatic;
  int eigenvalues = 4;      // of Method::Multiple
  int frequency = 0;        // passes from one step to the next, at least; 0: the default of FixedPoint
  DebugOut* log = nullptr;  // of the accelerators
};

struct RunSettings {
  AccelerationSettings acceleration;
  double tolerance = 1e-8;  // on the largest change of a torn rate in a pass, relative to the total feed
  int max_passes = 1000;
};

struct RunResult {
  Method method = Method::None;
  bool converged = false;
  std::string complaint;                            // if not
  std::vector<corvidnum::FixedPointRecord> passes;  // the last is the one that converged
  corvidnum::FixedPointCounts counts = {};
  std::vector<Rates> streams;        // of the last pass
  std::optional<double> eigenvalue;  // largest magnitude that the last passes showed
  int flashes = 0;                   // evaluated

  /// Steps that the pass behind them did not undo.
  int accepted() const { return static_cast<int>(counts.steps_taken - counts.steps_taken_back); }
};

/// Returns how far feeds and products of a converged run may be apart in a component, relative to the total
/// feed. Units keep all that enters them, so the change of the torn streams in the last pass is what is
/// missing.
double promised_imbalance(const Flowsheet& flowsheet, const Plan& plan, double tolerance);

/// Converges the torn streams from their start.
/// @throws std::runtime_error  if the host refuses memory to the iteration or its log
RunResult converge(const Flowsheet& flowsheet, const Plan& plan, const RunSettings& settings);

/// A run to a much smaller tolerance, to measure `runs` of the same case by: the method among them that took
/// the fewest passes goes on further.
struct Reference {
  double tolerance;
  RunResult run;
};

/// @return nothing if no run has converged, or none can to such a tolerance because of rounding
std::optional<Reference> find_reference(const Flowsheet& flowsheet, const Plan& plan,
                                        const RunSettings& settings, const std::vector<RunResult>& runs);

/// Between any two rates of all streams, relative to the total feed.
double largest_difference(const Flowsheet& flowsheet, const RunResult& a, const RunResult& b);

}  // namespace recycle
