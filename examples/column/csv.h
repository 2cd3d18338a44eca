#pragma once

#include <optional>
#include <string>

#include "examples/column/bubble_point.h"
#include "examples/column/column_case.h"
#include "examples/column/flows.h"

namespace column {

/// The profile as comma-separated text: a heading, then one line a stage with all digits.
std::string profile_csv(const ColumnCase& c, const InternalFlows& flows, const Profile& profile);

/// Writes `text` beside `path` and renames it over, so that `path` holds the old text or the new one, never
/// a part. What is not a regular file (a pipe, a device) is written directly.
/// @return what went wrong; nothing on success
std::optional<std::string> write_whole_file(const std::string& path, const std::string& text);

}  // namespace column
