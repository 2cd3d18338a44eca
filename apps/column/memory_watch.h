#pragma once

#include <cstdint>

#include "host/corvid_host.h"

namespace column {

/// Whether the library was refused memory since the watch began. Many of its operations report a refusal as
/// they report bad input, or go on without what they could not hold: what they say then is not to be
/// believed.
class MemoryWatch {
 public:
  bool refused() const { return corvid_host::RefusedAllocations() != before_; }

 private:
  const std::int64_t before_ = corvid_host::RefusedAllocations();
};

inline constexpr const char* kMemoryRefused = "the memory does not suffice";

}  // namespace column
