#pragma once

#include <cstdint>

#include "apps/common/output.h"
#include "host/corvid_host.h"

namespace column {

/// Tells whether the host refused memory to the library since the watch began. Then the results of the
/// library must not be used: many of its operations report a refusal as they report bad input, or go on
/// without the data that they could not store.
class MemoryWatch {
 public:
  bool refused() const { return corvid_host::RefusedAllocations() != before_; }

 private:
  const std::int64_t before_ = corvid_host::RefusedAllocations();
};

using apps::kMemoryRefused;

}  // namespace column
