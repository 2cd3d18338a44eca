#pragma once

#include <string>

#include "apps/column/vapour_pressure_table.h"

namespace column {

/// Returns what `fit` prints of a component: its formula, the Antoine fit with its statistics beside
/// published constants, the line of ln p against 1/T with the heat of vaporisation, the points.
std::string fit_report(VapourPressureTable& table);

}  // namespace column
