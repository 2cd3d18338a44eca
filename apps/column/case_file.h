#pragma once

#include <string>

#include "apps/column/column_case.h"

namespace column {

/// Bounds of the tolerance of a case. Below, rounding decides when the passes end; above, nothing has
/// converged yet.
constexpr double kSmallestTolerance = 1e-12, kLargestTolerance = 1;

/// Reads and checks a case. What it returns has positive flows everywhere. Throws apps::BadCase.
/// @param name        of the file, for messages; files that the case names are sought from its folder
/// @param properties  property file that takes the place of those that a case of model "measured" names
ColumnCase parse_case(const std::string& text, const std::string& name, const std::string& properties = "");
ColumnCase read_case(const std::string& path, const std::string& properties = "");

}  // namespace column
