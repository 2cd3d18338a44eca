#pragma once

// Watches whether memory and time of a long loop stay flat.

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <vector>

#include "host/corvid_host.h"

namespace soak {

/// Measures a loop: call cycle_ends() behind each of its cycles. What the last tenth of the cycles takes is
/// held against the first tenth.
class Flatness {
 public:
  explicit Flatness(std::int64_t cycles)
      : cycles_(cycles), piece_(std::max<std::int64_t>(1, cycles / kPieces)), piece_began_(cpu_seconds()) {}

  void cycle_ends() {
    ++done_;
    if (done_ % piece_ != 0) return;
    const double now = cpu_seconds();
    pieces_.push_back((now - piece_began_) / static_cast<double>(piece_));
    if (!is_settled_ && done_ >= cycles_ / kTenths) {
      settled_ = memory_now();
      is_settled_ = true;
    }
    piece_began_ = cpu_seconds();
  }

  /// Prints what was measured in one line.
  /// @return how many of blocks, bytes, resident memory and time grew
  int tell(const char* what) const {
    const Memory end = memory_now();
    const double first = least(0, kPieces / kTenths),
                 last = least(pieces_.size() - kPieces / kTenths, pieces_.size());
    const int found = (end.blocks > settled_.blocks) + (end.bytes > settled_.bytes) +
                      (end.resident > settled_.resident + kResidentNoise) + (last > kTimeNoise * first);
    std::printf(
        "%-24s %9lld cycles, blocks %+lld, bytes %+lld, resident %+lld KiB, %.3g to %.3g us a cycle, found "
        "%d\n",
        what, static_cast<long long>(done_), static_cast<long long>(end.blocks - settled_.blocks),
        static_cast<long long>(end.bytes - settled_.bytes),
        static_cast<long long>((end.resident - settled_.resident) / 1024), 1e6 * first, 1e6 * last, found);
    std::fflush(stdout);
    return found;
  }

 private:
  static constexpr int kTenths = 10, kPieces = 200;
  /// A page or two may be touched late; a byte lost in each of 1e5 cycles counts far more.
  static constexpr std::int64_t kResidentNoise = 512 * 1024;
  /// The least of 20 pieces by CPU time: on a shared machine single pieces take several times as long. What
  /// grows with the cycles takes many times as long in the end, in each piece.
  static constexpr double kTimeNoise = 2;

  struct Memory {
    std::int64_t blocks, bytes, resident;
  };

  static double cpu_seconds() {
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  }
  static Memory memory_now() {
    long long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return {corvid_host::LiveBlocks(), corvid_host::LiveBytes(), resident * sysconf(_SC_PAGESIZE)};
  }
  double least(std::size_t from, std::size_t to) const {
    const auto begin = pieces_.begin();
    return *std::min_element(begin + static_cast<std::ptrdiff_t>(from),
                             begin + static_cast<std::ptrdiff_t>(to));
  }

  std::int64_t cycles_, piece_, done_ = 0;
  double piece_began_;
  std::vector<double> pieces_;  // seconds of a cycle
  Memory settled_{};            // behind the first tenth
  bool is_settled_ = false;
};

}  // namespace soak
