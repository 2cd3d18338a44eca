#pragma once

// Numbers that are computed in 64 bits and reported in an int.

#include <algorithm>
#include <cstdint>
#include <limits>

namespace corvidnum {

/// Returns `value`, or the end of the range lowest int .. `most` that it lies beyond.
inline int clamped(std::int64_t value, int most = std::numeric_limits<int>::max()) {
  return static_cast<int>(std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(), most));
}

}  // namespace corvidnum
