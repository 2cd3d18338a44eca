#pragma once

// How reports name the unit of rates. It is a text of the case, empty if the case does not state it.

#include <fmt/format.h>

#include <string>

namespace apps {

/// Returns the line of a report that tells the unit of all rates.
inline std::string rate_unit_line(const std::string& unit) {
  return unit.empty() ? "rates in moles per unit of time, as in the case\n"
                      : fmt::format("rates in {}\n", unit);
}

/// Returns the title of an axis or a table of rates: "molar flow, kmol/h".
inline std::string with_rate_unit(const std::string& title, const std::string& unit) {
  return unit.empty() ? title : title + ", " + unit;
}

}  // namespace apps
