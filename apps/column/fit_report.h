#pragma once

#include <string>

#include "apps/column/vapour_pressure_table.h"

namespace column {

/// Returns what the subcommand fit prints about a component: its name and formula, the Antoine fit and its
/// statistics, beside published constants, the line of ln p against 1/T with the heat of vaporisation, and
/// the points.
std::string fit_report(VapourPressureTable& table);

}  // namespace column
