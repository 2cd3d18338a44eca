#pragma once

#include <string>
#include <vector>

#include "apps/column/acceleration.h"
#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"

namespace column {

/// Holds the runs of one case without acceleration and with each acceleration.
struct MethodComparison {
  struct Run {
    std::string name;
    Solution solution;
    double apart = 0;  // largest difference of a stage temperature from the first run, in common units
  };
  std::vector<Run> runs;  // the first is without acceleration, the last may be one that did not converge
  double limit = 0;       // largest `apart` of runs that agree

  const Run* failed() const;  // returns the run that did not converge; null if all did
  const Run* disagreeing()
      const;  // returns the first run with `apart` above the limit; null if there is none
};

/// Runs the case without acceleration and with each one, until a run does not converge.
/// @param settings  of all accelerations; `method` is ignored
/// @param log       an open log that all accelerators write to, one after the other; may be null
MethodComparison compare_methods(const ColumnCase& c, const InternalFlows& flows,
                                 AccelerationSettings settings, DebugOut* log);

}  // namespace column
