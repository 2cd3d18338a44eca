#pragma once

// What the frame needs of the system: the path of the library's file, and what the system tells of processes
// and threads. platform_linux.cpp and platform_windows.cpp send the notifications to ModuleEntry.

#include <cstddef>
#include <cstdint>

#include "frame/corvid.h"

namespace corvidnum {

/// Writes the path of a module's file, cut to `capacity` - 1 bytes, or an empty text if it is unknown.
void find_module_path(ModuleHandle module, char* path, std::size_t capacity);

/// While it lives, the record is neither freed nor used by another thread. Windows does not send two
/// notifications at the same time, so it has nothing to do there.
class RecordLock {
 public:
  RecordLock();
  ~RecordLock();
  RecordLock(const RecordLock&) = delete;
  RecordLock& operator=(const RecordLock&) = delete;
};

/// Returns the word that the library keeps for the calling thread, 0 before its first set_thread_word. It is
/// the only state of a thread; one word, because the system then keeps it in a slot without allocating
/// memory.
std::uint64_t thread_word();
void set_thread_word(std::uint64_t word);

#if defined(_WIN32)

/// Does nothing: the system tells of every thread, whether it enters the library or not.
inline void enter_library() {}

#else

// The loader of this system sends no thread notifications. So a thread is attached when it first enters an
// exported operation, and detached when it ends. The flag is plain thread-local data of the initial-exec
// model: testing it costs one load and one compare, and it has no destructor that would keep the library
// mapped after dlclose.
extern __thread bool thread_is_attached __attribute__((tls_model("initial-exec")));

/// Marks the calling thread as attached, sends thread attach, and arranges for thread detach at its end.
void attach_thread();

/// Attaches the calling thread if it is new. Every exported operation calls it first.
inline void enter_library() {
  if (__builtin_expect(!thread_is_attached, 0)) attach_thread();
}

#endif

}  // namespace corvidnum
