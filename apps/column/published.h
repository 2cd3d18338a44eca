#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/shortcut.h"

namespace column {

/// Holds a published figure and the program's own, both as text with the decimals of the source.
struct Comparison {
  std::string what, published, own;
  double units_apart;  // difference of the two as printed, in units of the last digit
};

/// Returns one row for each published figure of the case that the solution can be compared with. Published
/// numbers of passes are those of the plain iteration, so an accelerated solution is not compared with them.
/// @param limits  the case's short-cut figures, if they exist
std::vector<Comparison> compare_with_published(const ColumnCase& c, const Solution& solution,
                                               const std::optional<ShortcutResult>& limits);

}  // namespace column
