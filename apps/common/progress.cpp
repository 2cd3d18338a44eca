#include "apps/common/progress.h"

#include <fmt/format.h>

#include <cstdio>
#include <utility>

#include "apps/common/platform.h"

namespace apps {
namespace {

constexpr std::chrono::milliseconds kInterval(1000);

}  // namespace

Phase::Phase(std::string name, double& seconds) : Phase(std::move(name), seconds, {}) {}

Phase::Phase(std::string name, double& seconds, std::function<std::string(double)> status)
    : name_(std::move(name)), status_(std::move(status)), seconds_(seconds) {
  if (!quiet_ && platform::error_stream_is_terminal()) ticker_ = std::thread([this] { tick(); });
}

Phase::~Phase() {
  seconds_ += so_far();
  if (!ticker_.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    done_ = true;
  }
  ended_.notify_one();
  ticker_.join();
}

void Phase::tick() {
  bool shown = false;
  std::unique_lock<std::mutex> lock(mutex_);
  while (!ended_.wait_for(lock, kInterval, [this] { return done_; })) {
    const std::string status = status_ ? ": " + status_(so_far()) : "";
    const char* const clear = status_ ? "\033[K" : "";  // a shorter line leaves the end of the one before
    std::fputs(fmt::format("\r{}{} ... {:.1f} s{}", name_, status, so_far(), clear).c_str(), stderr);
    std::fflush(stderr);
    shown = true;
  }
  if (shown) std::fputs("\r\033[K", stderr);
}

}  // namespace apps
