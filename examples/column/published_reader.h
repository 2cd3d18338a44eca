#pragma once

#include <toml++/toml.h>

#include "examples/column/column_case.h"

namespace column {

/// Adds the figures of the table [published] to a case that is otherwise complete. Throws
/// examples::CaseError.
void read_published(const toml::table& table, ColumnCase& c);

}  // namespace column
