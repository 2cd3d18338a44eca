#include "apps/column/jacobian_ordering.h"

#include "apps/column/newton_jacobian.h"

namespace column {

JacobianOrdering reorder_jacobian(const ColumnCase& c, const InternalFlows& flows, const Profile& profile) {
  const ColumnSystem system(c, flows);
  const SparseEntries entries = system.jacobian(system.unknowns(profile));
  const auto reorder = [&](apps::Goal goal) {
    return apps::reorder(system.order(), entries.rows, entries.columns, goal);
  };
  return {reorder(apps::Goal::kBandwidth), reorder(apps::Goal::kProfile)};
}

}  // namespace column
