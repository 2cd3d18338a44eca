// Sends the notifications on Linux, where the loader knows of processes only.
//
//   load of the library     on_load:       process attach; the loading thread counts as attached
//   first entry of a thread attach_thread: thread attach, then the host's floating-point control word
//   end of such a thread    detach_thread: thread detach, from the destructor of a pthread key
//   unload of the library   on_unload:     process detach
//
// The destructor of a pthread key runs at the end of a thread. A thread_local object with a destructor would
// do the same, but the loader could not unmap the library before the thread ends.

#include <dlfcn.h>
#include <limits.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include "frame/module.h"

namespace corvidnum {

__thread bool thread_is_attached __attribute__((tls_model("initial-exec"))) = false;

namespace {

__thread std::uint64_t word_of_thread __attribute__((tls_model("initial-exec")));

// Guards the record against its end while a thread attaches or ends and calls the hook. Recursive, because a
// hook may enter the library.
pthread_mutex_t record_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

ModuleHandle load_address = nullptr;  // found once at load, because dladdr may wait for the loader's lock
pthread_key_t thread_end_key;
bool thread_end_key_exists = false;  // guarded by record_mutex

/// Initialises the mutex again in the child of a fork, where the thread that held it may not exist.
void make_record_mutex_anew() {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&record_mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

/// Copies as much of a text as fits into `capacity` bytes with an ending zero.
void copy_cut(char* target, const char* source, size_t capacity) {
  const size_t length = strnlen(source, capacity - 1);
  memcpy(target, source, length);
  target[length] = '\0';
}

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

void find_module_path(ModuleHandle, char* path, size_t capacity) {
  Dl_info info;
  path[0] = '\0';
  if (dladdr(reinterpret_cast<void*>(&ModuleEntry), &info) == 0 || info.dli_fname == nullptr) return;
  char absolute[PATH_MAX];
  copy_cut(path, realpath(info.dli_fname, absolute) ? absolute : info.dli_fname, capacity);
}

RecordLock::RecordLock() { pthread_mutex_lock(&record_mutex); }
RecordLock::~RecordLock() { pthread_mutex_unlock(&record_mutex); }

std::uint64_t thread_word() { return word_of_thread; }
void set_thread_word(std::uint64_t word) { word_of_thread = word; }

void attach_thread() {
  mark_thread();  // first, so that a hook that enters the library does not attach the thread again
  ModuleEntry(load_address, kThreadAttach, nullptr);
}

}  // namespace corvidnum
