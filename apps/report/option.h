#pragma once

// The option --report of the programs.

#include <optional>
#include <string>

#include "apps/common/input.h"
#include "apps/common/program_options.h"
#include "apps/report/index.h"

namespace report {

/// Tries the folder of reports, if one is asked for.
/// @param folder   of the option; empty: no report is wanted
/// @param page     name of the page that will be added
/// @param option   that names another output, which the report must not replace
/// @param output   the path of that output; may be empty, which is none
/// @param reports  out: set if a report is wanted
/// @throws std::runtime_error, "path: what went wrong"; CLI::ValidationError
inline void open_reports(const std::string& folder, const std::string& page, const char* option,
                         const std::string& output, std::optional<Folder>& reports) {
  if (folder.empty()) return;
  reports.emplace(folder, page);
  for (const std::string& path : reports->outputs())
    apps::check_outputs_differ(option, output, "--report", path);
}

}  // namespace report
