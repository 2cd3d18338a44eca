#pragma once

// The bubble-point method: compositions from the component balances at given stage temperatures, then new
// temperatures from the bubble points of these liquids, and so on until they rest.
// Source: J. C. Wang, G. E. Henke, Hydrocarbon Process. 45 (8), 155 (1966), with the overflow kept constant.

#include <memory>
#include <string>
#include <vector>

#include "apps/column/acceleration.h"
#include "apps/column/column_case.h"
#include "apps/column/component_balance.h"
#include "apps/column/flows.h"

namespace column {

/// The state of all stages. Compositions solve the component balances at these temperatures exactly; that
/// they add up to one on each stage is what the iteration brings about.
struct Profile {
  std::vector<double> temperature;          // by stage, in degrees of the model
  std::vector<std::vector<double>> liquid;  // x, [component][stage]
  std::vector<std::vector<double>> k;       // K, [component][stage]: the vapour is K x
};

enum class Outcome { kOk, kNoMemory, kSingular, kNotFinite, kNoBubblePoint, kTooManyPasses };

/// One column, ready to be passed over again and again. Keeps references to the case and the flows.
class BubblePointMethod {
 public:
  BubblePointMethod(const ColumnCase& c, const InternalFlows& flows, Solver solver);

  /// All stages at the start temperature of the case, or without one at the bubble point of the feed.
  /// @param temperatures  out: [stages]; untouched on kNoBubblePoint
  Outcome start(std::vector<double>& temperatures) const;

  /// K-values and compositions at `temperatures`. `profile` is complete only on kOk.
  Outcome compositions(const std::vector<double>& temperatures, Profile& profile);

  /// One pass: the temperatures [stages] that follow from `temperatures`, which may be the same array.
  /// `next` is complete only on kOk.
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

struct Solution {
  Outcome outcome = Outcome::kOk;
  std::string complaint;        // why not, if the outcome is not kOk
  std::vector<double> changes;  // the largest change of a stage temperature, pass by pass; without passes
                                // whose start was taken back
  int evaluations = 0;          // passes computed, those included
  bool accelerated = false;
  StepCounts steps;  // of the accelerator
  Profile profile;   // on kOk only
  double seconds = 0;

  int passes() const { return static_cast<int>(changes.size()); }
  /// Passes after which the largest change was below `tolerance`; 0 if it never was.
  int passes_to(double tolerance) const;
};

/// Repeats passes until the largest change is below the tolerance, then computes the compositions at the
/// temperatures found. An accelerator watches the vector of stage temperatures, or what takes their place in
/// the equilibrium model: with constant relative volatilities ln K of a component of volatility 1.
/// @param log  open, for the accelerator's account; may be null
Solution solve(const ColumnCase& c, const InternalFlows& flows, Solver solver,
               const AccelerationSettings& settings = {}, DebugOut* log = nullptr);

/// The same with an accelerator of the caller's, which has not received anything yet. Null: without.
Solution solve(const ColumnCase& c, const InternalFlows& flows, Solver solver, Accelerator* accelerator);

/// Returns the largest relative difference between the solutions of all component systems by the arrow and by
/// the dense matrix at the same temperatures. Not finite if one of them failed.
/// @throws std::bad_alloc
double solver_difference(const ColumnCase& c, const InternalFlows& flows,
                         const std::vector<double>& temperatures);

/// The largest absolute difference of a temperature.
double largest_change(const std::vector<double>& from, const std::vector<double>& to);

/// The largest relative difference of temperatures and of liquid fractions between two profiles.
struct ProfileDifference {
  double temperature, liquid;
};
ProfileDifference profile_difference(const Profile& a, const Profile& b);

}  // namespace column
