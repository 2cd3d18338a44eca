#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/column/column_case.h"

namespace column {

/// Flows between the stages, one entry a stage.
struct InternalFlows {
  std::vector<double> liquid;      // down to the next stage; of the last one the bottoms
  std::vector<double> vapour;      // up to the stage above; of the first one a vapour distillate, or 0
  std::vector<double> liquid_out;  // all liquid that leaves the stage: down, drawn, pumped around
  std::vector<double> vapour_out;  // all vapour that leaves the stage
  double total_feed = 0;
};

/// Follows constant molar overflow from the condenser down: flows change only where streams enter or leave.
InternalFlows internal_flows(const ColumnCase& c);

/// Why the flows cannot be, and the stream (or 0) of the case file that is to blame.
struct FlowFault {
  std::string what;
  int line = 0;
};

/// Returns the first flow that is not positive, if there is one.
std::optional<FlowFault> flow_fault(const ColumnCase& c, const InternalFlows& flows);

}  // namespace column
