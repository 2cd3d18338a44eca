#pragma once

// Tables of components in one file of chunks: a chunk "COMP" for each, which holds its texts, published
// constants, fit, and the table's own chunk. Other chunks are passed over.

#include <optional>
#include <string>

#include "apps/column/vapour_pressure_table.h"

namespace column {

/// Stores the tables. The file at `path` is complete afterwards, or as it was before.
/// @return what went wrong; nothing on success
std::optional<std::string> store_tables(const std::string& path, const Tables& tables);

/// Recalls all tables of a file as they were when stored. Throws apps::BadCase: "file: what".
Tables recall_tables(const std::string& path);

/// Returns the table of that name; null if there is none.
std::shared_ptr<VapourPressureTable> find_table(const Tables& tables, const std::string& name);

}  // namespace column
