#pragma once

#include <string>
#include <vector>

#include "apps/column/acceleration.h"
#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"

namespace column {

/// One case converged in each of the ways there are.
struct MethodComparison {
  struct Run {
    std::string name;
    Solution solution;
    double apart = 0;  // largest difference of a stage temperature from the first run, in common degrees
  };
  std::vector<Run> runs;  // without acceleration first; ends with the first run that does not converge
  double limit = 0;       // on `apart`

  const Run* failed() const;       // the run that did not converge; null if all did
  const Run* disagreeing() const;  // a run that came out elsewhere; null if none did
};

/// @param settings  `kind` is not looked at
/// @param log       open, for the accounts of all accelerators one after the other; may be null
MethodComparison compare_methods(const ColumnCase& c, const InternalFlows& flows,
                                 AccelerationSettings settings, DebugOut* log);

}  // namespace column
