#pragma once

#include <toml++/toml.h>

#include "apps/column/column_case.h"

namespace column {

/// Adds the figures of the table [published] to a case that is otherwise complete. Throws apps::CaseError.
void read_published(const toml::table& table, ColumnCase& c);

}  // namespace column
