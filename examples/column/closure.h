#pragma once

#include <vector>

#include "examples/column/bubble_point.h"
#include "examples/column/column_case.h"
#include "examples/column/flows.h"

namespace column {

/// How well a profile closes its balances: |in - out| / in. All are recomputed from the streams, not taken
/// from the matrix that was solved.
struct Closure {
  std::vector<double> component;        // over the whole column, by component
  std::vector<double> stage;            // all components together, by stage
  std::vector<double> stage_component;  // the worst component, by stage
  double overall = 0;                   // everything in against everything out
  double liquid_sum = 0;                // largest |sum of x - 1| of a stage
  double vapour_sum = 0;                // largest |sum of K x - 1| of a stage

  /// The largest of the balances; the sums, which the tolerance governs, left out.
  double worst() const;
  /// Above it an answer is not to be used.
  static constexpr double kLimit = 1e-10;
};

Closure closure(const ColumnCase& c, const InternalFlows& flows, const Profile& profile);

}  // namespace column
