#pragma once

// Times the phases of a run, and tells on a terminal which one takes so long.

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace apps {

/// If the error stream is a terminal and the phase lasts for more than a second, a line with its name and the
/// seconds so far stands there until it ends.
class Phase {
 public:
  /// @param seconds  when the phase has ended, how long it lasted is added
  Phase(std::string name, double& seconds);
  explicit Phase(std::string name) : Phase(std::move(name), unused_) {}
  /// @param status  returns how far the phase is, from the seconds so far; the line holds it, too. Any thread
  /// may
  ///                call it
  Phase(std::string name, double& seconds, std::function<std::string(double)> status);
  ~Phase();
  Phase(const Phase&) = delete;
  Phase& operator=(const Phase&) = delete;

  /// Has no phase of the program tell anything from now on.
  static void keep_quiet() { quiet_ = true; }

 private:
  using Clock = std::chrono::steady_clock;
  double so_far() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }
  void tick();

  inline static bool quiet_ = false;  // set before the first phase, by main()

  const std::string name_;
  const std::function<std::string(double)> status_;  // may be empty
  double unused_ = 0;
  double& seconds_;
  const Clock::time_point start_ = Clock::now();
  std::mutex mutex_;
  std::condition_variable ended_;
  bool done_ = false;
  std::thread ticker_;
};

/// Returns what `work` returns, as a phase of that name.
template <class Work>
auto in_phase(const char* name, Work work) {
  const Phase phase(name);
  return work();
}

}  // namespace apps
