// The library's objects with a hook that counts the notifications. The entry point is the library's own.

#include <atomic>

#include "frame/module.h"
#include "frame/numeric_runtime.h"

namespace {

std::atomic<long> received[4];

int count(ModuleHandle, unsigned reason, void*) {
  ++received[reason & 3];
  return 0;
}

}  // namespace

extern "C" {
__declspec(dllexport) void begin_counting() { corvidnum::SetModuleHook(count); }
__declspec(dllexport) long notifications(unsigned reason) { return received[reason & 3]; }
__declspec(dllexport) const char* path_of_record() { return corvidnum::ModulePath(); }
__declspec(dllexport) void* handle_of_record() { return corvidnum::ModuleInstance(); }
__declspec(dllexport) void enter() {
  const int selector = 1;
  d1mach_(&selector);
}
}
