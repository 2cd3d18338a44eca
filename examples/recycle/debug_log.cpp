#include "examples/recycle/debug_log.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "frame/debug_out.h"

namespace recycle {
namespace {

namespace fs = std::filesystem;

constexpr char kEnd[] = "end of the log\n";
constexpr std::uintmax_t kEndLength = sizeof kEnd - 1;

}  // namespace

DebugLog::DebugLog(const std::string& name) : target_(name + ".LOG") {
  std::error_code error;
  if (fs::exists(target_, error)) {
    if (!fs::is_regular_file(target_, error)) fail("is not a regular file");
    target_ = fs::canonical(target_, error);  // through a link, not over it
    if (error) fail(error.message());
  }
  const std::string part_name = fmt::format("{}.{}.part", target_.string(), getpid());
  part_ = part_name + ".LOG";
  errno = 0;
  if (!std::ofstream(part_)) fail(std::strerror(errno));
  log_ = std::make_unique<DebugOut>(Text(part_name.c_str()), 0, static_cast<unsigned char>(0));
  log_->Open();
}

DebugLog::~DebugLog() {
  log_.reset();
  std::error_code ignored;  // it is gone if the log was finished
  fs::remove(part_, ignored);
}

void DebugLog::finish() {
  log_->file.Write(Text(kEnd), 0);
  log_.reset();
  expect_end_and_remove_it();
  std::error_code error;
  fs::rename(part_, target_, error);
  if (error) fail(error.message());
}

/// The file of the host keeps to itself whether its disk was full. What came last is then missing.
void DebugLog::expect_end_and_remove_it() {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(part_, error);
  if (error) fail(error.message());
  char end[kEndLength] = {};
  if (size >= kEndLength)
    std::ifstream(part_, std::ios::binary)
        .seekg(static_cast<std::streamoff>(size - kEndLength))
        .read(end, kEndLength);
  if (std::memcmp(end, kEnd, kEndLength) != 0) fail("cannot be written to its end");
  fs::resize_file(part_, size - kEndLength, error);
  if (error) fail(error.message());
}

void DebugLog::fail(const std::string& why) const {
  throw std::runtime_error(fmt::format("{}: {}", target_.string(), why));
}

}  // namespace recycle
