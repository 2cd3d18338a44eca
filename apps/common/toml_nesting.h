#pragma once

#include <string_view>

namespace apps {

/// Parts of a key, arrays and inline tables that may lie within each other in a case file. Cases need three;
/// the parser, and whatever walks its tables, calls itself for each.
constexpr int kDeepestNesting = 32;

/// Refuses what is nested deeper, before the parser sees it. A header counts each part of its key, a value
/// the parts of its key and all arrays and inline tables around it, below the header that it belongs to.
/// What the parser refuses anyway may pass.
/// @throws CaseError
void check_nesting(std::string_view toml);

}  // namespace apps
