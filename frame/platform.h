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

}  // namespace corvidnum

// Has `enter_library`, which every exported operation calls first.
#include CORVIDNUM_PLATFORM_HEADER
