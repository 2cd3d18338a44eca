#pragma once

#include <string>

#include "apps/column/column_case.h"
#include "apps/common/toml_reader.h"

namespace column {

/// Bounds of the tolerance of a case, in degrees of the model. With a smaller one, rounding would decide when
/// the passes end; with a larger one, nothing would have converged.
constexpr double kSmallestTolerance = 1e-12, kLargestTolerance = 1;

/// Reads and checks a case. All flows between its stages are positive. Throws apps::BadCase.
/// @param text        of the case file (TOML)
/// @param name        of the file, for messages; paths in the case are relative to its folder
/// @param properties  path of a property file to use instead of the files that a case of model "measured"
///                    names; empty: none
ColumnCase parse_case(const std::string& text, const std::string& name, const std::string& properties = "");
ColumnCase read_case(const std::string& path, const std::string& properties = "");
/// Does the same with a file that is parsed already. Throws apps::CaseError about this file,
/// apps::UnusableFile or apps::BadCase about another one that it names.
ColumnCase case_of_table(const toml::table& file, const std::string& name,
                         const std::string& properties = "");

}  // namespace column
