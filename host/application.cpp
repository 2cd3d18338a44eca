// The handle of the host application and its splash screen.

#include <atomic>

#include "host/corvid_host.h"
#include "host/platform.h"

namespace corvid_host {
namespace {

std::atomic<ModuleHandle> chosen_instance{nullptr};
std::atomic<SplashHandler> splash_handler{nullptr};

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
