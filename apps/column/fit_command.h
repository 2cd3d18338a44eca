#pragma once

#include <string>
#include <vector>

#include "apps/column/vapour_pressure_table.h"

namespace column {

/// Reads and fits the tables of several components. Throws apps::BadCase, also if two have the same name.
Tables read_tables(const std::vector<std::string>& paths);

/// Stores tables, recalls them and compares. Returns what to print. Throws apps::BadCase.
std::string store_and_recall(const std::string& path, const Tables& tables);

}  // namespace column
