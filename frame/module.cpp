#include "frame/module.h"

#include <dlfcn.h>
#include <limits.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>

namespace corvidnum {

ModuleRecord* theModule = nullptr;
__thread bool thread_is_attached __attribute__((tls_model("initial-exec"))) = false;

namespace {

/// Copies what fits, ended by zero.
void copy_cut(char* target, const char* source, size_t capacity) {
  const size_t length = strnlen(source, capacity - 1);
  memcpy(target, source, length);
  target[length] = '\0';
}

/// Fills `path` with the absolute path of the library's file; empty if it cannot be told.
void find_module_path(char* path, size_t capacity) {
  Dl_info info;
  path[0] = '\0';
  if (dladdr(reinterpret_cast<void*>(&ModuleEntry), &info) == 0 || info.dli_fname == nullptr) return;
  char absolute[PATH_MAX];
  copy_cut(path, realpath(info.dli_fname, absolute) ? absolute : info.dli_fname, capacity);
}

}  // namespace

ModuleRecord::ModuleRecord(ModuleHandle handle) : instance(handle), refCount(1), hook(nullptr) {
  find_module_path(path, sizeof path);
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

void attach_process(ModuleHandle instance, void* reserved) {
  if (theModule) {
    theModule->AddRef();  // the hook hears of the first attach only
    return;
  }
  theModule = new ModuleRecord(instance);
  if (theModule) theModule->CallHook(kProcessAttach, reserved);
}

void detach_process(void* reserved) {
  if (!theModule || theModule->Release() != 0) return;
  theModule->CallHook(kProcessDetach, reserved);
  delete theModule;
  theModule = nullptr;
}

/// With or without a record the thread gets the host's control word, after the hook.
void apply_thread_attach(void* reserved) {
  if (theModule) theModule->CallHook(kThreadAttach, reserved);
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
      if (theModule) theModule->CallHook(kThreadDetach, reserved);
      break;
    default:
      break;
  }
  return 1;
}

// What sends the notifications. A pthread key tells of a thread's end; unlike a thread_local object
// with a destructor it lets the loader unmap the library while the thread lives. A mutex keeps one
// notification from another: a thread may end while the process does.
namespace {

pthread_mutex_t notifying = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;  // a hook may enter the library
pthread_key_t thread_end_key;
bool thread_end_key_exists = false;

/// Holds the mutex.
class Notification {
 public:
  Notification() { pthread_mutex_lock(&notifying); }
  ~Notification() { pthread_mutex_unlock(&notifying); }
  Notification(const Notification&) = delete;
  Notification& operator=(const Notification&) = delete;

  void send(unsigned reason) const { ModuleEntry(load_address(), reason, nullptr); }

 private:
  static ModuleHandle load_address() {
    Dl_info info;
    return dladdr(reinterpret_cast<void*>(&ModuleEntry), &info) != 0 ? info.dli_fbase : nullptr;
  }
};

void detach_thread(void*) {
  const Notification notification;
  notification.send(kThreadDetach);
  thread_is_attached = false;  // last, so that a hook that calls into the library attaches nothing
}

/// From here on the thread counts as attached, and its end is noticed.
void mark_thread() {
  thread_is_attached = true;
  if (thread_end_key_exists) pthread_setspecific(thread_end_key, &thread_end_key);
}

__attribute__((constructor)) void on_load() {
  const Notification notification;
  thread_end_key_exists = pthread_key_create(&thread_end_key, detach_thread) == 0;
  mark_thread();  // the loading thread keeps its floating-point state: no thread attach for it
  notification.send(kProcessAttach);
}

__attribute__((destructor)) void on_unload() {
  const Notification notification;
  notification.send(kProcessDetach);
  if (thread_end_key_exists) pthread_key_delete(thread_end_key);
  thread_end_key_exists = false;
}

}  // namespace

void attach_thread() {
  const Notification notification;
  mark_thread();  // first, so that a hook may call into the library
  notification.send(kThreadAttach);
}

}  // namespace corvidnum
