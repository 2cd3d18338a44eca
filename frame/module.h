#pragma once

// The record of the loaded library in this process, and the four notifications: attach and detach of the
// process and of a thread. platform.h has what every exported operation does first.

#include "frame/corvid.h"
#include "frame/platform.h"

namespace corvidnum {

/// Reason codes of ModuleEntry.
enum ModuleReason : unsigned {
  kProcessDetach = 0,
  kProcessAttach = 1,
  kThreadAttach = 2,
  kThreadDetach = 3,
};

/// A function that is called at each notification, with the module handle, the reason code and the reserved
/// word. Its result is ignored.
using ModuleHook = int (*)(ModuleHandle instance, unsigned reason, void* reserved);

constexpr int kModulePathCapacity = 260;  // bytes, with the ending zero

/// Holds handle, path, attach count and hook of the loaded library. There is one record per process, in
/// memory of Corvid_new, from the first process attach to the last process detach.
class ModuleRecord {
 public:
  /// Stores the handle and finds the path. The attach count is 1, and no hook is set.
  explicit ModuleRecord(ModuleHandle handle);
  ModuleRecord(const ModuleRecord&) = delete;
  ModuleRecord& operator=(const ModuleRecord&) = delete;
  virtual ~ModuleRecord();

  static void* operator new(std::size_t bytes) noexcept;
  static void operator delete(void* block) noexcept;

  void AddRef() { ++refCount; }
  int Release() { return --refCount; }
  ModuleHandle Instance() const { return instance; }
  char* Path() { return path; }
  void CallHook(unsigned reason, void* reserved) {
    if (hook) hook(instance, reason, reserved);
  }
  void SetHook(ModuleHook newHook) { hook = newHook; }

 private:
  ModuleHandle instance;
  char path[kModulePathCapacity];  // path of the library's file, cut if too long; empty if unknown
  int refCount;                    // process attaches less detaches
  ModuleHook hook;
};

/// The record; null before the first attach, after the last detach, and if memory was refused.
extern ModuleRecord* theModule;

/// Returns the handle of the module, or of the host application if there is no record.
ModuleHandle ModuleInstance();
/// Returns the path of the library's file. Requires a record.
char* ModulePath();
/// Sets the hook, null for none; does nothing without a record.
void SetModuleHook(ModuleHook hook);
/// Asks the host to show its splash screen.
void ShowModuleSplash();

/// Handles a notification of the loader or of a thread; ignores an unknown reason.
/// @return 1 always, so that a load never fails because of it
int ModuleEntry(ModuleHandle instance, unsigned reason, void* reserved);

}  // namespace corvidnum
