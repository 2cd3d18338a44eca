#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/column/column_case.h"

namespace column {

/// Holds the molar flows between the stages; each vector is [stage].
struct InternalFlows {
  std::vector<double> liquid;  // down to the next stage; that of the last stage is the bottoms
  std::vector<double> vapour;  // up to the stage above; that of the first stage is a vapour distillate, or 0
  std::vector<double> liquid_out;  // all liquid that leaves the stage: down, drawn, pumped around
  std::vector<double> vapour_out;  // all vapour that leaves the stage
  double total_feed = 0;
};

/// Computes the flows by constant molar overflow, from the condenser down: they change only where streams
/// enter or leave.
InternalFlows internal_flows(const ColumnCase& c);

/// Tells why the flows are impossible, and the line of the stream in the case file that causes it (0: none).
struct FlowFault {
  std::string what;
  int line = 0;
};

/// Returns what makes the flows impossible, if they are: products above the feed, or the first flow that is
/// not positive.
std::optional<FlowFault> flow_fault(const ColumnCase& c, const InternalFlows& flows);

}  // namespace column
