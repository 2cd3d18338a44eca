// A host that loads the library at run time: loading_host LIBRARY [BLAS LAPACK]
// The second form brings a BLAS and a LAPACK of its own first, with their own error hook.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "dense/regular_matrix.h"
#include "host/corvid_host.h"
#include "tests/support/float_state.h"
#include "tests/support/platform.h"

namespace {

using namespace test_support;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "loading_host: does not hold: %s\n", what);
  std::exit(1);
}

void* load(const char* file, bool forAll = false) {
  void* const handle = load_library(file, forAll);
  require(handle != nullptr, "the file loads");
  return handle;
}

template <class Function>
Function* find(void* library, const char* symbol) {
  void* const address = find_symbol(library, symbol);
  require(address != nullptr, symbol);
  return reinterpret_cast<Function*>(address);
}

/// A factor with fewer rows than columns is an illegal argument of the kernel behind BackSub.
void check_error_hook(void* library) {
  void* const place = Corvid_new(sizeof(RegularMatrix));
  find<void(void*, int, int)>(library, "_ZN13RegularMatrixC1Eii")(place, 2, 3);
  RegularMatrix* const matrix = static_cast<RegularMatrix*>(place);
  const auto back_sub = find<int(void*, double*, double*)>(library, "_ZN13RegularMatrix7BackSubEPdS0_");
  double b[3] = {1, 1, 1};
  double x[3] = {};
  testing::internal::CaptureStdout();
  const int code = back_sub(matrix, x, b);
  require(testing::internal::GetCapturedStdout() ==
              "** On entry to DGETRS, parameter number  5 had an illegal value\n",
          "an illegal argument prints the library's own line");
  require(code == 1, "an illegal argument is a failure, and the host goes on");
  delete matrix;
}

void check_threads(void* library) {
  const auto d1mach = find<double(const int*)>(library, "d1mach_");
  const int selector = 1;
  const long before = corvid_host::ControlWordApplications();
  d1mach(&selector);
  require(corvid_host::ControlWordApplications() == before, "the loading thread gets no thread attach");
  std::thread([&] {
    std::fesetround(FE_UPWARD);
    d1mach(&selector);
    require(std::fegetround() == FE_TONEAREST || !attach_sets_float_state(),
            "a thread runs under the host's control word");
    d1mach(&selector);
  }).join();
  require(corvid_host::ControlWordApplications() == before + 1, "only its first entry attaches a thread");
}

/// The library is gone before a thread that entered it ends.
void check_unloading_under_a_thread(const char* file) {
  void* const library = load(file);
  const auto d1mach = find<double(const int*)>(library, "d1mach_");
  const int selector = 1;
  std::atomic<int> stage{0};
  std::thread thread([&] {
    d1mach(&selector);
    stage = 1;
    while (stage != 2) std::this_thread::yield();
  });
  while (stage != 1) std::this_thread::yield();
  unload_library(library);
  require(!is_loaded(file), "the library is unmapped when nobody uses it");
  stage = 2;
  thread.join();
  if (system_forks())
    require(child_ends_well(), "nothing of the library is called in a child of a later fork");
}

}  // namespace

int main(int count, char** arguments) {
  for (int i = 2; i < count; ++i) load(arguments[i], true);
  std::fesetround(FE_UPWARD);
  const auto state = float_state();
  const auto blocks = corvid_host::LiveBlocks();
  const long applied = corvid_host::ControlWordApplications();
  for (int round = 0; round < 3; ++round) {
    void* const library = load(arguments[1]);
    require(corvid_host::LiveBlocks() == blocks + 1, "the load creates the one module record");
    require(load(arguments[1]) == library, "a second load is the same module");
    require(corvid_host::LiveBlocks() == blocks + 1, "and creates nothing");
    require(corvid_host::ControlWordApplications() == applied + round, "loading applies no control word");
    check_error_hook(library);
    require(float_state() == state, "the floating-point state of the loading thread is untouched");
    check_threads(library);
    unload_library(library);
    require(corvid_host::LiveBlocks() == blocks + 1, "the module stays while it is in use");
    unload_library(library);
    require(corvid_host::LiveBlocks() == blocks, "unloading destroys the record");
  }
  check_unloading_under_a_thread(arguments[1]);
  require(corvid_host::LiveBlocks() == blocks, "and leaves nothing under a living thread either");
  return 0;
}
