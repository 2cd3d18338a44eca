#pragma once

// The page of measurements: a template in which lines with a mark stand for tables.

#include <istream>
#include <string>
#include <vector>

#include "bench/page/results.h"

namespace page {

/// Returns the page that follows from a template: a line `@NAME@` becomes the section of that name.
/// @throws std::runtime_error no section has that name
std::string fill(std::istream& in, const Results& results);

/// Returns what is missing in the page for which a template asks: the rows that have a dash, and the
/// sections that have nothing, each as a line of text. A whole run leaves no gap.
/// @throws std::runtime_error no section has the name of a mark
std::vector<std::string> gaps(std::istream& in, const Results& results);

}  // namespace page
