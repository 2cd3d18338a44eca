#pragma once

#include <string>
#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"

namespace column {

/// Describes a stream that leaves the column.
struct Product {
  std::string name;
  int stage;
  double rate;  // total, by the flows of the case
  std::vector<double>
      by_component;  // [component] rates, which sum up to `rate` if the iteration has converged

  /// Returns the mole fraction of a component.
  double fraction(int component) const;
};

/// Returns distillate, draws in the order of the case, bottoms.
std::vector<Product> products(const ColumnCase& c, const InternalFlows& flows, const Profile& profile);

}  // namespace column
