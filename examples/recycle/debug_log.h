#pragma once

#include <filesystem>
#include <memory>
#include <string>

class DebugOut;

namespace recycle {

/// The account of the accelerators in NAME.LOG. It is written beside that file and takes its place when it is
/// complete: until then, and if the disk refuses any of it, NAME.LOG stays as it was.
class DebugLog {
 public:
  /// @throws std::runtime_error, as all operations do, with the file's name if it cannot be written
  explicit DebugLog(const std::string& name);
  DebugLog(const DebugLog&) = delete;
  DebugLog& operator=(const DebugLog&) = delete;
  ~DebugLog();

  DebugOut* get() const { return log_.get(); }
  /// Closes the log and puts it in its place.
  void finish();

 private:
  void expect_end_and_remove_it();
  [[noreturn]] void fail(const std::string& why) const;

  std::filesystem::path target_, part_;
  std::unique_ptr<DebugOut> log_;
};

}  // namespace recycle
