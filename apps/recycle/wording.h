#pragma once

#include <fmt/format.h>

#include <string>

#include "apps/common/wording.h"

namespace recycle {

using apps::counted;

/// Returns a rate with four decimals; one that rounds to zero has no sign.
inline std::string rate_text(double rate) {
  std::string text = fmt::format("{:.4f}", rate);
  return text == "-0.0000" ? text.substr(1) : text;
}

}  // namespace recycle
