#pragma once

#include <cstdint>

#include "apps/common/output.h"
#include "host/corvid_host.h"

namespace column {

/// Tells whether the library was refused memory since the watch began. Many of its operations report a
/// refusal as they report bad input, or go on without what they could not hold, so their results are not to
/// be used then.
class MemoryWatch {
 public:
  bool refused() const { return corvid_host::RefusedAllocations() != before_; }

 private:
  const std::int64_t before_ = corvid_host::RefusedAllocations();
};

using apps::kMemoryRefused;

}  // namespace column
