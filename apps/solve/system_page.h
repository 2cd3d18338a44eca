#pragma once

// The report of a system as a page.

#include <string>

#include "apps/report/index.h"
#include "apps/report/page.h"
#include "apps/solve/matrix_market.h"
#include "apps/solve/report.h"

namespace solve {

/// Returns the page: pattern, blocks, times, errors; what is at fault if the matrix is singular.
/// @param fault  why there is no solution; empty if there is one or none was asked for
/// @param bound  of the backward error
report::Page page_of(const Matrix& matrix, const Report& facts, const std::string& fault, double bound);

/// Returns the line of the page in the index of reports.
report::Entry entry_of(const Report& facts, const std::string& fault);

}  // namespace solve
