#pragma once

#include <string>
#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"

namespace column {

/// A stream that leaves the column for good.
struct Product {
  std::string name;
  int stage;
  double rate;  // what the flows ask for
  std::vector<double> by_component;

  double fraction(int component) const;
};

/// Distillate, draws in the order of the case, bottoms.
std::vector<Product> products(const ColumnCase& c, const InternalFlows& flows, const Profile& profile);

}  // namespace column
