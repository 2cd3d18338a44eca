// Loads and unloads the library again and again, while threads enter it.
//
//   corvidnum_loads LIBRARY LOADS    at least 200 loads
//
// In each round two threads enter the library for the first time; one of them ends before the library is
// unloaded, the other one behind that. In one of ten rounds the memory of the module record is refused. The
// library must be gone behind each round, with all its blocks; memory and time must stay flat.

#include <cstdlib>
#include <future>
#include <thread>

#include "proof/soak/flatness.h"
#include "tests/support/platform.h"

namespace {

constexpr std::int64_t kLeastLoads = 200;
constexpr int kOneRefusedIn = 10;

using Entry = double(const int*);

/// Enters the library, for the first time in its thread.
void enter(Entry* d1mach) {
  const int selector = 1;
  d1mach(&selector);
}

/// @return whether the round went as it must
bool load_and_unload(const char* file, bool refuse) {
  const auto blocks = corvid_host::LiveBlocks();
  if (refuse) corvid_host::FailAllocation(1);
  void* const library = test_support::load_library(file);
  corvid_host::StopFailing();
  if (!library) return false;
  const bool has_record = corvid_host::LiveBlocks() == blocks + 1;
  auto* const d1mach = reinterpret_cast<Entry*>(test_support::find_symbol(library, "d1mach_"));
  // The threads wait asleep: to spin would count as time of the processor.
  std::promise<void> entered, gone;
  std::thread(enter, d1mach).join();
  std::thread survivor([&] {
    enter(d1mach);
    entered.set_value();
    gone.get_future().wait();
  });
  entered.get_future().wait();
  test_support::unload_library(library);
  gone.set_value();
  survivor.join();
  return has_record != refuse && !test_support::is_loaded(file) && corvid_host::LiveBlocks() == blocks;
}

}  // namespace

int main(int count, char** arguments) {
  const std::int64_t loads = count == 3 ? std::atoll(arguments[2]) : 0;
  if (loads < kLeastLoads) {
    std::fputs("usage: corvidnum_loads LIBRARY LOADS (200 or more)\n", stderr);
    return 2;
  }
  // The BLAS stays loaded: to load it takes longer than all the rest.
  test_support::load_library("libblas.so.3");
  test_support::load_library("liblapack.so.3");
  int found = 0;
  soak::Flatness flatness(loads);
  for (std::int64_t load = 0; load < loads; ++load) {
    if (!load_and_unload(arguments[1], load % kOneRefusedIn == kOneRefusedIn - 1)) ++found;
    flatness.cycle_ends();
  }
  found += flatness.tell("loads");
  std::printf("soak: loads and unloads under threads, %lld, found %d\n", static_cast<long long>(loads),
              found);
  return found > 0;
}
