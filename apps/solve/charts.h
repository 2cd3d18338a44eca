#pragma once

// Small charts of a few named values, as SVG for a report::Page.

#include <string>
#include <vector>

namespace solve {

/// A bar from 0; or a dot on a logarithmic axis.
struct Value {
  std::string name;   // at the left
  double size;        // not negative
  std::string words;  // at the right of the bar, or above the dot
};

/// Draws horizontal bars, one below the other.
/// @param id  different for each chart of a page; letters and digits
std::string bar_chart(const std::string& title, const std::vector<Value>& values, const std::string& id);

struct Bound {
  std::string name;
  double at;
};

/// Draws dots on a common logarithmic axis, one below the other, with bounds as upright lines. What is 0 or
/// not finite has its words at the end of the axis and no dot.
std::string log_chart(const std::string& title, const std::vector<Value>& values,
                      const std::vector<Bound>& bounds, const std::string& id);

}  // namespace solve
