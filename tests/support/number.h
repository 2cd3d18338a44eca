#pragma once

// Numbers in texts, with a decimal point under every locale.

#include <charconv>
#include <cmath>
#include <string_view>

namespace test_support {

/// Returns the number that a text begins with; NaN if there is none.
inline double number_at(std::string_view text) {
  double value = NAN;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

}  // namespace test_support
