#pragma once

#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"

namespace column {

/// How well a profile closes its balances: |in - out|, as part of the larger of both. All are recomputed from
/// the streams, not taken from the matrix that was solved. The balance of one component on one stage is a
/// part of the largest flow of that component in the column: over hundreds of stages a component dwindles to
/// a trace of 1e-100, which nobody misses and of which rounding leaves no digit.
struct Closure {
  std::vector<double> component;        // over the whole column, by component
  std::vector<double> stage;            // all components together, by stage
  std::vector<double> stage_component;  // the worst component, by stage
  double overall = 0;                   // everything in against everything out
  double liquid_sum = 0;                // largest |sum of x - 1| of a stage
  double vapour_sum = 0;                // largest |sum of K x - 1| of a stage

  /// Returns the largest of the balances; the sums, which the tolerance governs, left out.
  double worst() const;
  /// Above it an answer is not to be used.
  static constexpr double kLimit = 1e-10;
};

Closure closure(const ColumnCase& c, const InternalFlows& flows, const Profile& profile);

}  // namespace column
