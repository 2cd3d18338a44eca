#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <string>

namespace recycle {

/// Returns a count and its noun, in the plural where needed: "1 pass", "2 passes", "3 steps".
inline std::string counted(std::size_t count, const std::string& noun) {
  const char last = noun.back();
  const char* const plural = last == 's' || last == 'h' ? "es" : "s";
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : plural);
}

/// Returns a rate with four decimals; one that rounds to zero has no sign.
inline std::string rate_text(double rate) {
  std::string text = fmt::format("{:.4f}", rate);
  return text == "-0.0000" ? text.substr(1) : text;
}

}  // namespace recycle
