#include "apps/common/log_file.h"

#include <stdexcept>
#include <string_view>

#include "frame/debug_out.h"
#include "host/corvid_host.h"

namespace apps {
namespace {

constexpr std::string_view kExtension = ".LOG";  // which DebugOut puts behind a name

}  // namespace

LogFile::LogFile(const std::string& name)
    : path_(name + std::string(kExtension)),
      refused_(corvid_host::RefusedAllocations()),
      file_(path_, ".part" + std::string(kExtension)) {
  if (file_.obstacle()) throw std::runtime_error(path_ + ": " + *file_.obstacle());
  const std::string opened =
      file_.direct() ? name : file_.name().substr(0, file_.name().size() - kExtension.size());
  constexpr unsigned char kAppend = 1;  // the file is there
  log_ = std::make_unique<DebugOut>(Text(opened.c_str()), 0, kAppend);
  if (log_->file.Open(kAppend) == 0) throw std::runtime_error(path_ + ": cannot be opened");
}

LogFile::~LogFile() = default;

std::optional<std::string> LogFile::keep() {
  const auto incomplete = corvid_host::IncompleteTextFiles();
  log_.reset();
  if (corvid_host::IncompleteTextFiles() != incomplete)
    return path_ + ": the log was not written whole; is the disk full?";
  if (corvid_host::RefusedAllocations() != refused_) return path_ + ": " + kMemoryRefused;
  if (const auto failure = file_.put_in_place()) return path_ + ": " + *failure;
  return std::nullopt;
}

}  // namespace apps
