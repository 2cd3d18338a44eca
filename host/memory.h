#pragma once

namespace corvid_host {

/// While it lives, the blocks that its thread asks for are the host's own: not counted, never made to fail.
class OwnMemory {
 public:
  OwnMemory();
  OwnMemory(const OwnMemory&) = delete;
  OwnMemory& operator=(const OwnMemory&) = delete;
  ~OwnMemory();

 private:
  const bool nested_;
};

}  // namespace corvid_host
