#pragma once

// The report of fitted vapour pressures as a page with pictures.

#include <string>
#include <vector>

#include "apps/column/vapour_pressure_table.h"
#include "apps/report/index.h"
#include "apps/report/page.h"

namespace column {

/// Returns the page: for each component the points and the curve, the errors in per cent, the coefficients
/// and statistics, and the points as a table.
report::Page fit_page(const Tables& tables);

/// Returns the line of the index.
/// @param seconds  that reading and fitting took
report::Entry fit_entry(const Tables& tables, double seconds);

/// Returns the name of the page of tables at these paths.
std::string fit_page_name(const std::vector<std::string>& paths);

}  // namespace column
