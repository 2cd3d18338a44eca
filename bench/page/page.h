#pragma once

// The page of measurements: a template in which lines with a mark stand for tables.

#include <istream>
#include <string>

#include "bench/page/results.h"

namespace page {

/// Returns the page that follows from a template: a line `@NAME@` becomes the section of that name.
/// @throws std::runtime_error no section has that name
std::string fill(std::istream& in, const Results& results);

}  // namespace page
