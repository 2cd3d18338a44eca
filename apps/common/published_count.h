#pragma once

#include <fmt/format.h>

#include <string>

namespace apps {

/// Counts the figures that a case quotes from its source, and those of them that the program's own differ
/// from.
struct PublishedCount {
  int all = 0, differing = 0;

  void add(bool differs) {
    ++all;
    differing += differs;
  }
  /// Returns the count in words.
  std::string words() const {
    return fmt::format("{} of {} published values {}", differing > 0 ? differing : all, all,
                       differing > 0 ? "differ" : "agree");
  }
};

/// Returns the line of a report that tells the unit of all rates.
/// @param unit  as the case states it; empty if it does not
inline std::string rate_unit_line(const std::string& unit) {
  return unit.empty() ? "rates in moles per unit of time, as in the case\n"
                      : fmt::format("rates in {}\n", unit);
}

}  // namespace apps
