#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/shortcut.h"

namespace column {

/// A published figure beside the program's own, both as text with the decimals of the source.
struct Comparison {
  std::string what, published, own;
  double units_apart;  // between the two as printed, in units of the last digit
};

/// One row for each published figure of the case that this solution has an answer to. Published passes are
/// those of the plain iteration.
std::vector<Comparison> compare_with_published(const ColumnCase& c, const Solution& solution,
                                               const std::optional<ShortcutResult>& limits);

}  // namespace column
