#include "examples/column/jacobian_ordering.h"

#include "examples/column/newton_jacobian.h"

namespace column {

JacobianOrdering reorder_jacobian(const ColumnCase& c, const InternalFlows& flows, const Profile& profile) {
  const ColumnSystem system(c, flows);
  const SparseEntries entries = system.jacobian(system.unknowns(profile));
  const auto reorder = [&](examples::Goal goal) {
    return examples::reorder(system.order(), entries.rows, entries.columns, goal);
  };
  return {reorder(examples::Goal::kBandwidth), reorder(examples::Goal::kProfile)};
}

}  // namespace column
