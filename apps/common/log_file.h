#pragma once

// The log of an accelerator, which replaces an old one only when it is complete.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "apps/common/output.h"

class DebugOut;

namespace apps {

class LogFile {
 public:
  /// Opens a new log beside NAME.LOG.
  /// @throws std::runtime_error  "NAME.LOG: why" where it cannot be written
  explicit LogFile(const std::string& name);
  /// Closes the log; unless keep() was called, an old one stays and the new one is gone.
  ~LogFile();

  DebugOut* log() { return log_.get(); }

  /// Closes the log and puts it in the place of the old one, which stays if the disk has not taken all of the
  /// new one, or memory was refused to the library, which leaves out lines then.
  /// @return "NAME.LOG: why" it could not; nothing on success
  std::optional<std::string> keep();

 private:
  const std::string path_;
  const std::int64_t refused_;  // allocations, when the log began
  Replacement file_;
  std::unique_ptr<DebugOut> log_;
};

}  // namespace apps
