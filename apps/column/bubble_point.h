#pragma once

// The bubble-point method. A pass solves the component balances at given stage temperatures, and takes the
// bubble points of the liquids found as the new temperatures. Passes repeat until the temperatures no longer
// change.
// Source: J. C. Wang, G. E. Henke, Hydrocarbon Process. 45 (8), 155 (1966), with the overflow kept constant.

#include <memory>
#include <string>
#include <vector>

#include "apps/column/acceleration.h"
#include "apps/column/column_case.h"
#include "apps/column/component_balance.h"
#include "apps/column/flows.h"

class DebugOut;

namespace column {

/// Holds the state of all stages. The compositions solve the component balances at these temperatures to
/// rounding. The fractions of a stage add up to one only when the iteration has converged.
struct Profile {
  std::vector<double> temperature;          // [stage], in degrees of the model
  std::vector<std::vector<double>> liquid;  // x, [component][stage]
  std::vector<std::vector<double>> k;       // K, [component][stage]: the vapour is K x
};

enum class Outcome {
  kOk,
  kNoMemory,
  kSingular,
  kNotFinite,
  kNoBubblePoint,
  kTooManyPasses,
  kNotConverging,  // diverging, or stalled
};

/// Makes passes over one column. Keeps references to the case and the flows.
class BubblePointMethod {
 public:
  BubblePointMethod(const ColumnCase& c, const InternalFlows& flows, Solver solver);

  /// Sets the stages to the profile that the case starts from or, if it has none, all to its start
  /// temperature or to the bubble point of the feed.
  /// @param temperatures  out: [stages]; untouched on kNoBubblePoint
  Outcome start(std::vector<double>& temperatures) const;

  /// Computes the K-values and compositions at `temperatures` [stages]. `profile` is complete only on kOk.
  Outcome compositions(const std::vector<double>& temperatures, Profile& profile);

  /// Makes one pass: computes the temperatures that follow from `temperatures`, both [stages]. `next` may be
  /// the same array, and is complete only on kOk.
  Outcome pass(const std::vector<double>& temperatures, std::vector<double>& next);

  /// Returns the stage or component at which the last call failed, in words.
  const std::string& complaint() const { return complaint_; }

 private:
  Outcome fail(Outcome outcome, std::string complaint);

  const ColumnCase& case_;
  ComponentBalance balance_;
  std::unique_ptr<Matrix> matrix_;
  std::vector<std::vector<double>> right_sides_;  // by component
  std::string complaint_;
};

/// Tells how a run of the bubble-point method ended.
struct Solution {
  Outcome outcome = Outcome::kOk;
  std::string complaint;          // what went wrong, if the outcome is not kOk
  std::vector<double> changes;    // largest of a stage temperature in each pass, in degrees of the model
  std::vector<int> extrapolated;  // indices of passes whose outcome an accelerator extrapolated
  bool accelerated = false;
  corvidnum::FixedPointCounts counts = {};
  double eigenvalue = -1;  // largest magnitude that the last passes showed; -1: not known
  Profile profile;         // on kOk only
  double seconds = 0;      // wall-clock time of the run

  int passes() const { return static_cast<int>(changes.size()); }
  /// Returns the number of passes until the largest change was first below `tolerance`; 0 if it never was.
  int passes_to(double tolerance) const;
};

/// Repeats passes by corvidnum::FixedPoint until the largest change is at most the tolerance, then computes
/// the compositions at the temperatures found. Steps extrapolate the vector of stage temperatures or, with
/// constant relative volatilities, of what the model has in their place: ln K of a component of volatility 1.
/// @param log  an open log that the accelerators write to, in scaled degrees; may be null
Solution solve(const ColumnCase& c, const InternalFlows& flows, Solver solver,
               const AccelerationSettings& settings = {}, DebugOut* log = nullptr);

/// Solves all component systems by the arrow matrix and by the dense matrix, at the same temperatures
/// [stages]. Returns the largest relative difference between the two, infinity if one of them fails.
/// @throws std::bad_alloc
double solver_difference(const ColumnCase& c, const InternalFlows& flows,
                         const std::vector<double>& temperatures);

/// Returns the largest absolute difference between elements of the same index.
double largest_change(const std::vector<double>& from, const std::vector<double>& to);

/// Holds the largest relative differences of temperatures and of liquid fractions between two profiles.
struct ProfileDifference {
  double temperature, liquid;
};
ProfileDifference profile_difference(const Profile& a, const Profile& b);

}  // namespace column
