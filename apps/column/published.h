#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/shortcut.h"
#include "apps/common/published_count.h"

namespace column {

/// Holds a published figure and the program's own, both as text with the decimals of the source.
struct Comparison {
  std::string what, published, own;
  double units_apart;  // difference of the two as printed, in units of the last digit

  /// Returns whether the two differ by more than the last digit, in which sources are often cut or rounded
  /// otherwise.
  bool differs() const { return !(units_apart <= 1); }
  /// Returns "agrees", "1 in the last digit" or "differs".
  const char* verdict() const;
};

/// Returns one row for each published figure of the case that the solution can be compared with. Published
/// numbers of passes are those of the plain iteration, so a solution that is accelerated, or that another
/// method found because the passes did not converge, is not compared with them.
/// @param limits  the case's short-cut figures, if they exist
std::vector<Comparison> compare_with_published(const ColumnCase& c, const Solution& solution,
                                               const std::optional<ShortcutResult>& limits);

/// Counts the rows, and those that differ.
apps::PublishedCount count(const std::vector<Comparison>& rows);

}  // namespace column
