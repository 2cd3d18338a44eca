#pragma once

// How narrow the matrix of the whole column is, as its unknowns stand, stage by stage, and reordered.

#include "examples/column/bubble_point.h"
#include "examples/column/column_case.h"
#include "examples/column/flows.h"
#include "examples/common/reordering.h"

namespace column {

struct JacobianOrdering {
  examples::Reordering for_bandwidth, for_profile;  // from the same numbering, by stages
};

JacobianOrdering reorder_jacobian(const ColumnCase& c, const InternalFlows& flows, const Profile& profile);

}  // namespace column
