#include <fenv.h>
#include <windows.h>
#include <xmmintrin.h>

#include <cstdio>

#include "tests/support/platform.h"

namespace test_support {
namespace {

constexpr unsigned kSseMasks = 7;  // first mask bit of the SSE control word; the order is that of <cfenv>

HMODULE as_module(void* library) { return static_cast<HMODULE>(library); }

}  // namespace

int enabled_traps() { return static_cast<int>(~_mm_getcsr() >> kSseMasks) & FE_ALL_EXCEPT; }

void enable_traps(int exceptions) {
  _mm_setcsr(_mm_getcsr() & ~(static_cast<unsigned>(exceptions) << kSseMasks));
}

void* load_library(const std::string& file, bool) {
  const HMODULE library = LoadLibraryA(file.c_str());
  if (!library) std::fprintf(stderr, "%s does not load: error %lu\n", file.c_str(), GetLastError());
  return library;
}

void unload_library(void* library) { FreeLibrary(as_module(library)); }

void* find_symbol(void* library, const char* symbol) {
  return reinterpret_cast<void*>(GetProcAddress(as_module(library), symbol));
}

bool is_loaded(const std::string& file) { return GetModuleHandleA(file.c_str()) != nullptr; }

bool attach_sets_float_state() { return false; }

bool system_forks() { return false; }
bool child_ends_well() { return false; }

}  // namespace test_support
