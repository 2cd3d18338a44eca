#pragma once

#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"

namespace column {

/// Tells how well a profile closes its balances: |in - out|, relative to the larger of the two. All are
/// recomputed from the streams, not taken from the matrix that was solved. The balance of one component on
/// one stage is relative to the largest flow of that component on any stage instead: over hundreds of stages
/// a component falls to traces of 1e-100, whose own balance has no correct digit and is of no interest.
struct Closure {
  std::vector<double> component;        // [component] over the whole column
  std::vector<double> stage;            // [stage] all components together
  std::vector<double> stage_component;  // [stage] of the component with the largest error
  double overall = 0;                   // all feeds against all products
  double liquid_sum = 0;                // largest |sum of x - 1| of a stage
  double vapour_sum = 0;                // largest |sum of K x - 1| of a stage

  /// Returns the largest error of a balance. The sums do not count: their error depends on the tolerance.
  double worst() const;
  /// Largest error of a balance with which an answer can be used.
  static constexpr double kLimit = 1e-10;
};

/// Computes the errors of a profile that the bubble-point method or Newton's method has found.
Closure closure(const ColumnCase& c, const InternalFlows& flows, const Profile& profile);

}  // namespace column
