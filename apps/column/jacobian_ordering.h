#pragma once

// Bandwidth and profile of the Jacobian of the whole column: as its unknowns are numbered, stage by stage,
// and after a reordering.

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"
#include "apps/common/reordering.h"

namespace column {

/// Holds two reorderings of the numbering by stages, each for another goal.
struct JacobianOrdering {
  apps::Reordering for_bandwidth, for_profile;
};

/// Reorders the Jacobian of Newton's method at a profile.
JacobianOrdering reorder_jacobian(const ColumnCase& c, const InternalFlows& flows, const Profile& profile);

}  // namespace column
