// The handle of the host application and its splash screen.

#include <dlfcn.h>
#include <sys/auxv.h>

#include <atomic>

#include "host/corvid_host.h"

namespace corvid_host {
namespace {

std::atomic<ModuleHandle> chosen_instance{nullptr};
std::atomic<SplashHandler> splash_handler{nullptr};

/// Returns the load address of the program: its first mapping contains its program headers, whose address the
/// system passes in the auxiliary vector.
ModuleHandle program_address() {
  Dl_info info;
  void* const headers = reinterpret_cast<void*>(getauxval(AT_PHDR));
  return headers && dladdr(headers, &info) != 0 ? info.dli_fbase : nullptr;
}

}  // namespace

void SetAppInstance(ModuleHandle handle) { chosen_instance = handle; }
void SetSplashHandler(SplashHandler handler) { splash_handler = handler; }

}  // namespace corvid_host

ModuleHandle AppInstance() {
  const ModuleHandle chosen = corvid_host::chosen_instance;
  return chosen ? chosen : corvid_host::program_address();
}

void ShowSplashScreen(unsigned char show, unsigned char flag) {
  if (const corvid_host::SplashHandler handler = corvid_host::splash_handler) handler(show, flag);
}
