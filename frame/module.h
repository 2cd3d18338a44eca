#pragma once

// The record that stands for the loaded library, and what the four notifications do to it.

#include "frame/corvid.h"

namespace corvidnum {

/// Reason codes of ModuleEntry.
enum ModuleReason : unsigned {
  kProcessDetach = 0,
  kProcessAttach = 1,
  kThreadAttach = 2,
  kThreadDetach = 3,
};

/// Called with the module handle, the reason code and the reserved word of a notification.
/// Its result is ignored.
using ModuleHook = int (*)(ModuleHandle instance, unsigned reason, void* reserved);

constexpr int kModulePathCapacity = 260;  // the ending zero included

/// One per process; lives in memory of Corvid_new from the first attach to the last detach.
class ModuleRecord {
 public:
  /// Stores the handle, finds the path; one attach is counted, no hook is set.
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
  char path[kModulePathCapacity];  // of the library's file; empty if unknown
  int refCount;
  ModuleHook hook;
};

/// Null before the first attach and after the last detach.
extern ModuleRecord* theModule;

/// The handle of the module; of the host application if there is no record.
ModuleHandle ModuleInstance();
/// The path of the library's file. Requires a record.
char* ModulePath();
/// Does nothing without a record.
void SetModuleHook(ModuleHook hook);
void ShowModuleSplash();

/// Treats a notification of the loader or of a thread. Always 1: a load never fails because of it.
int ModuleEntry(ModuleHandle instance, unsigned reason, void* reserved);

// Threads. There are no thread notifications here, so a thread is attached when it first enters an
// exported operation, and detached when it ends. The flag is plain data at a fixed offset of the thread:
// a later entry costs one load and one compare, and nothing keeps the library mapped after dlclose.
extern __thread bool thread_is_attached __attribute__((tls_model("initial-exec")));

/// Marks the calling thread, sends thread attach, and arranges for thread detach at its end.
void attach_thread();

/// Stands first in every exported operation.
inline void enter_library() {
  if (__builtin_expect(!thread_is_attached, 0)) attach_thread();
}

}  // namespace corvidnum
