#pragma once

// Allocations that the host support library makes for itself.

namespace corvid_host {

/// While such an object lives, the blocks that its thread allocates belong to the host: they are not counted
/// and do not fail on request.
class OwnMemory {
 public:
  OwnMemory();
  OwnMemory(const OwnMemory&) = delete;
  OwnMemory& operator=(const OwnMemory&) = delete;
  ~OwnMemory();

 private:
  const bool nested_;
};

/// Counts a request that the C library answered with null, so that RefusedAllocations tells of it, too.
void count_refusal();

}  // namespace corvid_host
