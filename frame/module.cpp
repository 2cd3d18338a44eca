// Keeps the record of the loaded library and sends the notifications.
//
//   load of the library     on_load:       process attach; the loading thread counts as attached
//   first entry of a thread attach_thread: thread attach, then the host's floating-point control word
//   end of such a thread    detach_thread: thread detach, from the destructor of a pthread key
//   unload of the library   on_unload:     process detach
//
// Always true:
//  1. theModule is set if and only if its attach count is above 0, but for a record refused by the allocator;
//  2. the record is published, called, counted down and freed under record_mutex. What the host or the loader
//     calls one after another, while the library is loaded, uses it without: ModuleInstance, ModulePath,
//     SetModuleHook, and the test and the count of a further attach;
//  3. no function of the loader and no function of the host but the hook and Corvid_delete is called under
//     record_mutex: the thread that holds the loader's lock may be waiting for ours.

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

/// Copies as much of a text as fits into `capacity` bytes with an ending zero.
void copy_cut(char* target, const char* source, size_t capacity) {
  const size_t length = strnlen(source, capacity - 1);
  memcpy(target, source, length);
  target[length] = '\0';
}

/// Writes the absolute path of the library's file to `path`, or an empty text if the loader does not know it.
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

// Guards the record against its end while a thread attaches or ends and calls the hook. Nothing is
// called under it but the hook and, when the last detach frees the record, Corvid_delete. The loader in
// particular is not called: it holds its own lock while it initialises a plug-in, and the plug-in may enter
// this library, so the two locks would be taken in both orders. The mutex is recursive because a hook may
// enter the library.
pthread_mutex_t record_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

/// Initialises the mutex again in the child of a fork, where the thread that held it may not exist.
void make_record_mutex_anew() {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&record_mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

/// Holds record_mutex while it lives.
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

/// Creates the record at the first attach and calls the hook; counts every further attach. The loader never
/// runs two attaches or detaches of the process at the same time.
void attach_process(ModuleHandle instance, void* reserved) {
  if (theModule) {
    theModule->AddRef();  // the hook is called for the first attach only
    return;
  }
  // Created before the mutex is taken, because its constructor asks the loader for the path.
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

// The senders of the notifications. The destructor of a pthread key runs at the end of a thread. A
// thread_local object with a destructor would do the same, but the loader could not unmap the library before
// the thread ends.
namespace {

ModuleHandle load_address = nullptr;  // found once at load, because dladdr may wait for the loader's lock
pthread_key_t thread_end_key;
bool thread_end_key_exists = false;  // guarded by record_mutex

void find_load_address() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&ModuleEntry), &info) != 0) load_address = info.dli_fbase;
}

void detach_thread(void*) {
  ModuleEntry(load_address, kThreadDetach, nullptr);
  thread_is_attached =
      false;  // last, so that a hook that enters the library does not attach the thread again
}

/// Marks the calling thread as attached and has detach_thread run at its end.
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
  pthread_atfork(nullptr, nullptr, make_record_mutex_anew);  // dlclose removes it
  watch_ends_of_threads();
  mark_thread();  // without thread attach: the loading thread keeps its floating-point state
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
  mark_thread();  // first, so that a hook that enters the library does not attach the thread again
  ModuleEntry(load_address, kThreadAttach, nullptr);
}

}  // namespace corvidnum
