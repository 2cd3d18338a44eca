// Forwards the notifications of Windows: the system itself tells of the load and the unload, and of the begin
// and the end of each thread in between. It sends one at a time, under the lock of its loader. So nothing
// here may wait for another thread, load a library or begin a thread.

#include <windows.h>

#include "frame/module.h"

namespace corvidnum {
namespace {

/// A slot of the system for one word of each thread. The compiler's own thread-local data would bring a
/// library of threads with it, which allocates memory for each thread and has notifications of its own.
class ThreadSlot {
 public:
  ThreadSlot() : index_(TlsAlloc()) {}
  ThreadSlot(const ThreadSlot&) = delete;
  ThreadSlot& operator=(const ThreadSlot&) = delete;
  ~ThreadSlot() { TlsFree(index_); }

  // Without a slot, the word stays 0.
  std::uint64_t Get() const { return reinterpret_cast<std::uintptr_t>(TlsGetValue(index_)); }
  void Set(std::uint64_t word) const { TlsSetValue(index_, reinterpret_cast<void*>(word)); }

 private:
  const DWORD index_;
};

const ThreadSlot thread_slot;

}  // namespace

static_assert(kProcessDetach == DLL_PROCESS_DETACH && kProcessAttach == DLL_PROCESS_ATTACH &&
                  kThreadAttach == DLL_THREAD_ATTACH && kThreadDetach == DLL_THREAD_DETACH,
              "the reason codes are those of the system");

void find_module_path(ModuleHandle module, char* path, size_t capacity) {
  const DWORD length = GetModuleFileNameA(static_cast<HMODULE>(module), path, static_cast<DWORD>(capacity));
  path[length < capacity ? length : capacity - 1] =
      '\0';  // not every version of Windows ends a path that it cuts
}

RecordLock::RecordLock() = default;
RecordLock::~RecordLock() = default;

std::uint64_t thread_word() {
  const DWORD error = GetLastError();  // which TlsGetValue clears
  const std::uint64_t word = thread_slot.Get();
  SetLastError(error);
  return word;
}

void set_thread_word(std::uint64_t word) { thread_slot.Set(word); }

}  // namespace corvidnum

/// Called by the runtime library, after its own start-up and before its own shut-down.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
  return corvidnum::ModuleEntry(instance, reason, reserved);
}
