#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>

namespace apps {

/// Returns a noun, in the plural unless it stands for one: "pass", "passes", "steps", "entries".
template <class Count>
std::string noun_for(Count count, std::string_view noun) {
  const char last = noun.back();
  if (count == 1) return std::string(noun);
  if (last == 'y') return fmt::format("{}ies", noun.substr(0, noun.size() - 1));
  return fmt::format("{}{}", noun, last == 's' || last == 'h' ? "es" : "s");
}

/// Returns a count and its noun: "1 pass", "2 passes".
template <class Count>
std::string counted(Count count, std::string_view noun) {
  return fmt::format("{} {}", count, noun_for(count, noun));
}

}  // namespace apps
