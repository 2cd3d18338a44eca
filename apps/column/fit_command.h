#pragma once

#include <string>
#include <vector>

#include "apps/column/vapour_pressure_table.h"

namespace column {

/// Reads and fits the tables of several components. Throws apps::BadCase, also if two have the same name.
Tables read_tables(const std::vector<std::string>& paths);

/// Stores tables in the property file at `path`, recalls them, and compares the two bit for bit. Returns what
/// to print. Throws apps::BadCase.
std::string store_and_recall(const std::string& path, const Tables& tables);

}  // namespace column
