#pragma once

// Times the phases of a run, and tells on a terminal which one takes so long.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace solve {

/// If the error stream is a terminal and the phase lasts, a line with its name and the seconds so far stands
/// there until it ends.
class Phase {
 public:
  /// @param seconds  when the phase has ended, how long it lasted is added
  Phase(std::string name, double& seconds);
  ~Phase();
  Phase(const Phase&) = delete;
  Phase& operator=(const Phase&) = delete;

 private:
  using Clock = std::chrono::steady_clock;
  double so_far() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }
  void tick();

  const std::string name_;
  double& seconds_;
  const Clock::time_point start_ = Clock::now();
  std::mutex mutex_;
  std::condition_variable ended_;
  bool done_ = false;
  std::thread ticker_;
};

}  // namespace solve
