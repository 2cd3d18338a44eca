#pragma once

// How narrow the matrix of the whole column is, as its unknowns stand, stage by stage, and reordered.

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"
#include "apps/common/reordering.h"

namespace column {

struct JacobianOrdering {
  apps::Reordering for_bandwidth, for_profile;  // from the same numbering, by stages
};

JacobianOrdering reorder_jacobian(const ColumnCase& c, const InternalFlows& flows, const Profile& profile);

}  // namespace column
