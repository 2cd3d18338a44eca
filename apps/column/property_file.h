#pragma once

// Stores the tables of components in one file of chunks. Each component has a chunk "COMP" with its texts,
// published constants and fit, and within it the chunk that the table itself writes. Chunks with other tags
// are skipped.

#include <optional>
#include <string>

#include "apps/column/vapour_pressure_table.h"

namespace column {

/// Stores the tables. After a failure the file at `path` is as it was before.
/// @return what went wrong; nothing on success
std::optional<std::string> store_tables(const std::string& path, const Tables& tables);

/// Recalls all tables of a file as they were when stored. Throws apps::BadCase, whose message begins with the
/// path.
Tables recall_tables(const std::string& path);

/// Returns the table of that name; null if there is none.
std::shared_ptr<VapourPressureTable> find_table(const Tables& tables, const std::string& name);

}  // namespace column
