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

// The record and its hook are used under this mutex: a thread may attach or end while the process ends.
// Nothing is called under it but the hook and, when the last detach frees the record, Corvid_delete. The
// loader in particular is not: a plug-in that the loader initialises, with its own lock held, may enter the
// library.
pthread_mutex_t record_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;  // a hook may enter the library

/// For the child of a fork, where the thread that holds the mutex does not exist.
void make_record_mutex_anew() {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&record_mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

/// Holds the mutex.
class RecordLock {
 public:
  RecordLock() { pthread_mutex_lock(&record_mutex); }
  ~RecordLock() { pthread_mutex_unlock(&record_mutex); }
  RecordLock(const RecordLock&) = delete;
  RecordLock& operator=(const RecordLock&) = delete;
};

void call_hook(unsigned reason, void* reserved) {
  const RecordLock lock;
  if (theModule) theModule->CallHook(reason, reserved);
}

/// The loader lets no two attaches or detaches of the process run at once.
void attach_process(ModuleHandle instance, void* reserved) {
  if (theModule) {
    theModule->AddRef();  // the hook hears of the first attach only
    return;
  }
  ModuleRecord* const record = new ModuleRecord(instance);  // without the mutex: asks the loader for the path
  const RecordLock lock;
  theModule = record;
  if (theModule) theModule->CallHook(kProcessAttach, reserved);
}

void detach_process(void* reserved) {
  const RecordLock lock;
  if (!theModule || theModule->Release() != 0) return;
  theModule->CallHook(kProcessDetach, reserved);
  delete theModule;
  theModule = nullptr;
}

/// With or without a record the thread gets the host's control word, after the hook.
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

// What sends the notifications. A pthread key tells of a thread's end; unlike a thread_local object
// with a destructor it lets the loader unmap the library while the thread lives.
namespace {

ModuleHandle load_address = nullptr;  // found once, because the question waits for the loader
pthread_key_t thread_end_key;
bool thread_end_key_exists = false;  // under the mutex

void find_load_address() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&ModuleEntry), &info) != 0) load_address = info.dli_fbase;
}

void detach_thread(void*) {
  ModuleEntry(load_address, kThreadDetach, nullptr);
  thread_is_attached = false;  // last, so that a hook that calls into the library attaches nothing
}

/// From here on the thread counts as attached, and its end is noticed.
void mark_thread() {
  const RecordLock lock;
  thread_is_attached = true;
  if (thread_end_key_exists) pthread_setspecific(thread_end_key, &thread_end_key);
}

void watch_ends_of_threads() {
  const RecordLock lock;
  thread_end_key_exists = pthread_key_create(&thread_end_key, detach_thread) == 0;
}

__attribute__((constructor)) void on_load() {
  find_load_address();
  pthread_atfork(nullptr, nullptr, make_record_mutex_anew);  // until dlclose
  watch_ends_of_threads();
  mark_thread();  // the loading thread keeps its floating-point state: no thread attach for it
  ModuleEntry(load_address, kProcessAttach, nullptr);
}

__attribute__((destructor)) void on_unload() {
  ModuleEntry(load_address, kProcessDetach, nullptr);
  const RecordLock lock;
  if (thread_end_key_exists) pthread_key_delete(thread_end_key);
  thread_end_key_exists = false;
}

}  // namespace

void attach_thread() {
  mark_thread();  // first, so that a hook may call into the library
  ModuleEntry(load_address, kThreadAttach, nullptr);
}

}  // namespace corvidnum
