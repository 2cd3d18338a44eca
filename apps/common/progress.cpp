#include "apps/common/progress.h"

#include <cstdio>
#include <utility>

#include "apps/common/platform.h"

namespace apps {
namespace {

constexpr std::chrono::milliseconds kInterval(1000);

}  // namespace

Phase::Phase(std::string name, double& seconds) : name_(std::move(name)), seconds_(seconds) {
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
    std::fprintf(stderr, "\r%s ... %.1f s", name_.c_str(), so_far());
    std::fflush(stderr);
    shown = true;
  }
  if (shown) std::fputs("\r\033[K", stderr);
}

}  // namespace apps
