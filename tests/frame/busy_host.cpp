// A host whose threads enter the library for the first time, one after the other, while it does something
// else:
//   busy_host load ROUNDS PLUGIN   loads a plug-in that enters the library, too, and unloads it
//   busy_host meet                 waits in pFPEnv until a second thread is there. Linux only: on Windows, no
//                                  function of a program takes the place of a library's, and the system
//                                  attaches one thread at a time
//   busy_host end                  ends: no notification may meet another, or a record that is gone
// CTest ends it if that takes longer than 30 seconds.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "frame/corvid.h"
#include "frame/numeric_runtime.h"
#include "tests/support/platform.h"

namespace {

std::atomic<int> expected_in_host{0};
std::atomic<int> came_to_host{0};

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "busy_host: does not hold: %s\n", what);
  std::_Exit(1);
}

void enter() {
  const int selector = 1;
  d1mach_(&selector);
}

void enter_first_until(const std::atomic<bool>& done) {
  while (!done) std::thread(enter).join();
}

void load_and_unload(const char* plugin) {
  std::atomic<bool> loaded{false};
  void* handle = nullptr;
  std::thread loader([&] {
    handle = test_support::load_library(plugin);
    loaded = true;
  });
  enter_first_until(loaded);
  loader.join();
  require(handle != nullptr, "the plug-in loads");
  test_support::unload_library(handle);
  require(!test_support::is_loaded(plugin), "the plug-in is unmapped");
}

}  // namespace

/// Takes the place of the host support library's.
FPEnvironment* pFPEnv() {
  static FPEnvironment environment;
  ++came_to_host;
  while (came_to_host < expected_in_host) std::this_thread::yield();
  return &environment;
}

int main(int, char** arguments) {
  const std::string what = arguments[1];
  if (what == "meet") {
    expected_in_host = 2;
    std::thread first(enter), second(enter);
    first.join();
    second.join();
    require(came_to_host == 2, "each thread came once");
  } else if (what == "end") {
    for (int i = 0; i < 8; ++i) std::thread(enter).detach();
  } else {
    for (int i = 0; i < std::atoi(arguments[2]); ++i) load_and_unload(arguments[3]);
  }
  return 0;
}
