// Keeps the record of the loaded library and handles the notifications, which the system's part of the frame
// sends (platform_linux.cpp, platform_windows.cpp).
//
// Always true:
//  1. theModule is set if and only if its attach count is above 0, but for a record refused by the allocator;
//  2. the record is published, called, counted down and freed under a RecordLock. What the host or the loader
//     calls one after another, while the library is loaded, uses it without: ModuleInstance, ModulePath,
//     SetModuleHook, and the test and the count of a further attach;
//  3. no function of the loader and no function of the host but the hook and Corvid_delete is called under
//     a RecordLock: the thread that holds the loader's lock may be waiting for ours.

#include "frame/module.h"

namespace corvidnum {

ModuleRecord* theModule = nullptr;

ModuleRecord::ModuleRecord(ModuleHandle handle) : instance(handle), refCount(1), hook(nullptr) {
  find_module_path(handle, path, sizeof path);
}

ModuleRecord::~ModuleRecord() = default;

void* ModuleRecord::operator new(size_t bytes) noexcept { return Corvid_new(bytes); }
void ModuleRecord::operator delete(void* block) noexcept { Corvid_delete(block); }

ModuleHandle ModuleInstance() { return theModule ? theModule->Instance() : AppInstance(); }

char* ModulePath() { return theModule->Path(); }

void SetModuleHook(ModuleHook hook) {
  if (theModule) theModule->SetHook(hook);
}

void ShowModuleSplash() { ShowSplashScreen(1, 0); }

namespace {

void call_hook(unsigned reason, void* reserved) {
  const RecordLock lock;
  if (theModule) theModule->CallHook(reason, reserved);
}

/// Creates the record at the first attach and calls the hook; counts every further attach. The loader never
/// runs two attaches or detaches of the process at the same time.
void attach_process(ModuleHandle instance, void* reserved) {
  if (theModule) {
    theModule->AddRef();  // the hook is called for the first attach only
    return;
  }
  // Created before the lock is taken, because its constructor asks the loader for the path.
  ModuleRecord* const record = new ModuleRecord(instance);
  const RecordLock lock;
  theModule = record;
  if (theModule) theModule->CallHook(kProcessAttach, reserved);
}

/// Counts a detach; at the last one, calls the hook and frees the record.
void detach_process(void* reserved) {
  const RecordLock lock;
  if (!theModule || theModule->Release() != 0) return;
  theModule->CallHook(kProcessDetach, reserved);
  delete theModule;
  theModule = nullptr;
}

/// Calls the hook, then sets the host's floating-point control word, which the thread gets even if there is
/// no record.
void apply_thread_attach(void* reserved) {
  call_hook(kThreadAttach, reserved);
  if (FPEnvironment* environment = pFPEnv()) environment->SetControlWord();
}

}  // namespace

int ModuleEntry(ModuleHandle instance, unsigned reason, void* reserved) {
  switch (reason) {
    case kProcessAttach:
      attach_process(instance, reserved);
      break;
    case kProcessDetach:
      detach_process(reserved);
      break;
    case kThreadAttach:
      apply_thread_attach(reserved);
      break;
    case kThreadDetach:
      call_hook(kThreadDetach, reserved);
      break;
    default:
      break;
  }
  return 1;
}

}  // namespace corvidnum
