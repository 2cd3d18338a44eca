#pragma once

#include <string>

#include "apps/column/column_case.h"

namespace column {

/// Why `tolerance` can be that of no case, "must lie between ... and ..., not ..."; empty: it can.
std::string tolerance_fault(double tolerance);

/// Reads and checks a case. What it returns has positive flows everywhere. Throws apps::BadCase.
/// @param name        of the file, for messages; files that the case names are sought from its folder
/// @param properties  property file that takes the place of those that a case of model "measured" names
ColumnCase parse_case(const std::string& text, const std::string& name, const std::string& properties = "");
ColumnCase read_case(const std::string& path, const std::string& properties = "");

}  // namespace column
