// A host that begins threads while the library is loaded: threads_host COUNTING_LIBRARY LIBRARY
// Each thread that begins is attached and each that ends is detached, whether it enters the library or not.

#include <cfenv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "host/corvid_host.h"
#include "tests/support/platform.h"

// After the headers of the library: it defines macros for words that they use.
#include <windows.h>

namespace {

constexpr unsigned kThreadAttach = 2, kThreadDetach = 3;
constexpr int kRounds = 25, kThreads = 8;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "threads_host: does not hold: %s\n", what);
  std::_Exit(1);
}

template <class Function>
Function* find(void* library, const char* symbol) {
  void* const address = test_support::find_symbol(library, symbol);
  require(address != nullptr, symbol);
  return reinterpret_cast<Function*>(address);
}

/// A thread that waits for `go` and then ends.
HANDLE begin_waiting(HANDLE go) {
  const auto wait = [](void* event) -> DWORD { return WaitForSingleObject(event, INFINITE); };
  return CreateThread(nullptr, 0, wait, go, 0, nullptr);
}

void end(HANDLE thread) {
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

/// Begins and ends threads, of which every second one calls `enter`.
void run_threads(void (*enter)()) {
  for (int round = 0; round < kRounds; ++round) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
      threads.emplace_back([=] {
        require(std::fegetround() == FE_DOWNWARD, "a thread begins under the host's control word");
        if (i % 2) enter();
      });
    for (std::thread& thread : threads) thread.join();
  }
}

void check_counts(const char* file) {
  const HANDLE go = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  const HANDLE older = begin_waiting(go);
  void* const library = test_support::load_library(file);
  require(library != nullptr, "the counting library loads");
  const auto notifications = find<long(unsigned)>(library, "notifications");
  char path[MAX_PATH];
  require(GetModuleFileNameA(static_cast<HMODULE>(library), path, sizeof path) > 0 &&
              std::strcmp(find<const char*()>(library, "path_of_record")(), path) == 0 &&
              find<void*()>(library, "handle_of_record")() == library,
          "the record has the module's handle and path");
  find<void()>(library, "begin_counting")();
  run_threads(find<void()>(library, "enter"));
  require(notifications(kThreadAttach) == kRounds * kThreads, "each thread that begins is attached once");
  require(notifications(kThreadDetach) == kRounds * kThreads, "each thread that ends is detached once");
  const HANDLE younger = begin_waiting(go);
  SetEvent(go);
  end(older);
  end(younger);
  require(notifications(kThreadAttach) == kRounds * kThreads + 1,
          "a thread older than the load is not attached");
  require(notifications(kThreadDetach) == kRounds * kThreads + 2, "but the system tells of its end");
  test_support::unload_library(library);
  require(!test_support::is_loaded(file), "the counting library is unmapped");
  CloseHandle(go);
}

void check_library(const char* file) {
  const auto blocks = corvid_host::LiveBlocks();
  void* const library = test_support::load_library(file);
  require(library != nullptr, "the library loads");
  static double (*d1mach)(const int*);
  d1mach = find<double(const int*)>(library, "d1mach_");
  const long applied = corvid_host::ControlWordApplications();
  run_threads([] {
    const int selector = 1;
    d1mach(&selector);
  });
  require(corvid_host::ControlWordApplications() == applied + kRounds * kThreads,
          "each thread got the host's control word once");
  test_support::unload_library(library);
  require(!test_support::is_loaded(file) && corvid_host::LiveBlocks() == blocks,
          "the library is unmapped and leaves no memory");
}

}  // namespace

int main(int count, char** arguments) {
  require(count == 3, "two libraries are given");
  corvid_host::SetFloatControl({FE_DOWNWARD, 0});
  check_counts(arguments[1]);
  check_library(arguments[2]);
  return 0;
}
