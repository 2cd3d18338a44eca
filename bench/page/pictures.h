#pragma once

// The pictures of docs/performance.md.

#include <string>
#include <utility>
#include <vector>

#include "bench/page/results.h"

namespace page {

/// Returns the pictures with the names of their files.
std::vector<std::pair<std::string, std::string>> pictures(const Results& results);

}  // namespace page
