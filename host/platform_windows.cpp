// The system's part of the host support library on Windows. A file is replaced in three steps, so that its
// name leads to a complete file at any time: write a new file beside it, synchronise that with the disk, give
// it the name of the old one.

#include "host/platform.h"

#include <fcntl.h>
#include <fenv.h>
#include <io.h>
#include <windows.h>
#include <xmmintrin.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <new>
#include <string>

#include "host/windows_files.h"

namespace corvid_host {
namespace {

constexpr const char* kNoMemory = "no memory is left";
constexpr const char* kNotRegular = "it is not a regular file";
constexpr const char* kTooLong = "the file is too long";
constexpr const char* kLeftBeside = "the old file is gone; the new one is in its folder, as ~...new";

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kMostInOneCall = DWORD{1} << 30;

DWORD flag_slot = TLS_OUT_OF_INDEXES;  // of each thread's flag; without a slot, the flag stays false

/// Has a slot while the library is loaded. Thread-local data of the compiler would bring a library of threads
/// along, which takes a slot at each load and never gives it back.
struct FlagSlot {
  FlagSlot() { flag_slot = TlsAlloc(); }
  FlagSlot(const FlagSlot&) = delete;
  FlagSlot& operator=(const FlagSlot&) = delete;
  ~FlagSlot() {
    TlsFree(flag_slot);
    flag_slot = TLS_OUT_OF_INDEXES;  // what runs later must not write into the slot of somebody else
  }
};

const FlagSlot owned_flag_slot;

/// Returns a text for the error of the last call, in the words of the C library where it has an equal.
const char* system_error() {
  switch (GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_NETPATH:
      return "No such file or directory";
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
      return "Permission denied";
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
      return "another program uses the file";
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return "No space left on device";
    case ERROR_FILENAME_EXCED_RANGE:
    case ERROR_BUFFER_OVERFLOW:
      return "File name too long";
    case ERROR_FILE_TOO_LARGE:
      return "File too large";
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
      return kNoMemory;
    default:
      return "the system reports an error";
  }
}

/// Converts a name to UTF-16.
/// @return an empty name if it is empty or is not UTF-8
std::wstring wide(const char* path) {
  const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path, -1, nullptr, 0);
  if (length <= 0) return {};
  std::wstring name(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path, -1, name.data(), length);
  name.pop_back();  // the ending zero
  return name;
}

/// A handle of a file, or none; closes it at the end.
class File {
 public:
  File(const std::wstring& name, DWORD access, DWORD creation, DWORD flags = FILE_ATTRIBUTE_NORMAL)
      : handle_(CreateFileW(name.c_str(), access, kShareAll, nullptr, creation, flags, nullptr)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (Valid()) CloseHandle(handle_);
  }
  HANDLE Handle() const { return handle_; }
  bool Valid() const { return handle_ != INVALID_HANDLE_VALUE; }
  /// Gives the handle to the caller, who closes it.
  HANDLE Release() {
    const HANDLE handle = handle_;
    handle_ = INVALID_HANDLE_VALUE;
    return handle;
  }

 private:
  HANDLE handle_;
};

DWORD next_part(std::size_t count) {
  return static_cast<DWORD>(std::min<std::size_t>(count, kMostInOneCall));
}

/// Reads up to `*count` bytes, fewer if the file ends.
/// @param count out: the number of bytes read
bool read_up_to(HANDLE file, unsigned char* bytes, std::size_t* count) {
  std::size_t done = 0;
  while (done < *count) {
    DWORD step = 0;
    if (!ReadFile(file, bytes + done, next_part(*count - done), &step, nullptr)) return false;
    if (step == 0) break;
    done += step;
  }
  *count = done;
  return true;
}

bool write_all(HANDLE file, const unsigned char* bytes, std::size_t count) {
  while (count > 0) {
    DWORD step = 0;
    if (!WriteFile(file, bytes, next_part(count), &step, nullptr)) return false;
    bytes += step;
    count -= step;
  }
  return true;
}

/// Returns whether a name leads to something else than a file on a disk: a folder, a pipe, a device.
bool is_not_regular(const std::wstring& name) {
  const DWORD attributes = GetFileAttributesW(name.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY)) return true;
  const File file(name, 0, OPEN_EXISTING);
  return file.Valid() && GetFileType(file.Handle()) != FILE_TYPE_DISK;
}

/// Returns a short name in the folder of `name`: with one longer than that of most files, a path that the
/// system accepts could get a neighbour that it does not.
std::wstring name_beside(const std::wstring& name, unsigned serial) {
  const std::size_t folder = name.find_last_of(L"\\/:") + 1;  // 0 if there is none
  return name.substr(0, folder) + L"~" + std::to_wstring(GetCurrentProcessId()) + L"-" +
         std::to_wstring(serial) + L".new";
}

/// Writes a new file beside `name`, under a name that is not in use, and synchronises it with the disk.
/// @param beside out: name of the new file
/// @return null, or why it failed
const char* write_beside(const std::wstring& name, const unsigned char* bytes, std::size_t count,
                         std::wstring* beside) {
  static std::atomic<unsigned> serial{0};
  for (;;) {
    *beside = name_beside(name, serial++);
    const File file(*beside, GENERIC_WRITE, CREATE_NEW);
    if (file.Valid()) {
      const bool written = write_all(file.Handle(), bytes, count) && FlushFileBuffers(file.Handle());
      return written ? nullptr : system_error();
    }
    if (GetLastError() != ERROR_FILE_EXISTS && GetLastError() != ERROR_ALREADY_EXISTS) return system_error();
  }
}

/// Returns whether a file that exists may be replaced: it is not read-only, and no program has it open that
/// does not share it. Asked first, because a ReplaceFileW that fails may leave a file of its own behind.
bool may_be_replaced(const std::wstring& name, DWORD attributes) {
  if (attributes & FILE_ATTRIBUTE_READONLY) {
    SetLastError(ERROR_ACCESS_DENIED);
    return false;
  }
  return File(name, DELETE, OPEN_EXISTING).Valid();
}

/// Changes the control words of both floating-point units, which have the mask bits of the exceptions in the
/// same order: those of the x87 unit from bit 0, those of SSE from bit 7.
void set_masks(int masked) {
  constexpr unsigned kSseMasks = 7;
  std::uint16_t x87;
  __asm__ volatile("fnstcw %0" : "=m"(x87));
  x87 = static_cast<std::uint16_t>((x87 & ~FE_ALL_EXCEPT) | masked);
  __asm__ volatile("fldcw %0" : : "m"(x87));
  const unsigned all = static_cast<unsigned>(FE_ALL_EXCEPT) << kSseMasks;
  _mm_setcsr((_mm_getcsr() & ~all) | static_cast<unsigned>(masked) << kSseMasks);
}

}  // namespace

const char* read_whole_file(const char* path, std::size_t most, unsigned char** bytes,
                            std::size_t* count) try {
  *bytes = nullptr;
  const std::wstring name = wide(path);
  if (is_not_regular(name)) return kNotRegular;
  const File file(name, GENERIC_READ, OPEN_EXISTING);
  LARGE_INTEGER length;
  if (!file.Valid() || !GetFileSizeEx(file.Handle(), &length)) return system_error();
  std::size_t size = static_cast<std::size_t>(length.QuadPart);
  if (size > most) return kTooLong;

  unsigned char* const block = static_cast<unsigned char*>(Corvid_malloc(size));
  if (!block) return kNoMemory;
  if (!read_up_to(file.Handle(), block, &size)) {
    const char* const why = system_error();
    Corvid_free(block);
    return why;
  }
  *bytes = block;
  *count = size;
  return nullptr;
} catch (const std::bad_alloc&) {
  return kNoMemory;
}

const char* replace_file(const char* path, const unsigned char* bytes, std::size_t count) try {
  const std::wstring target = windows_files::final_name(wide(path));
  if (is_not_regular(target)) return kNotRegular;
  const DWORD attributes = GetFileAttributesW(target.c_str());
  const bool exists = attributes != INVALID_FILE_ATTRIBUTES;
  if (exists && !may_be_replaced(target, attributes)) return system_error();
  std::wstring beside;
  const char* why = write_beside(target, bytes, count, &beside);
  if (!why && !windows_files::take_the_place(beside, target)) why = system_error();
  if (!why) return nullptr;
  // A replacement that fails may have lost the old file. Then the new one is the only copy.
  if (exists && !windows_files::exists(target)) return kLeftBeside;
  DeleteFileW(beside.c_str());
  return why;
} catch (const std::bad_alloc&) {
  return kNoMemory;
}

std::FILE* open_stream(const char* path, StreamMode mode) try {
  static const struct {
    DWORD creation;
    int flags;
    const char* mode;
  } kModes[] = {{OPEN_EXISTING, _O_APPEND, "a+b"}, {OPEN_EXISTING, 0, "r+b"}, {CREATE_ALWAYS, 0, "w+b"}};
  const auto& chosen = kModes[static_cast<int>(mode)];
  File file(wide(path), GENERIC_READ | GENERIC_WRITE, chosen.creation);
  if (!file.Valid()) return nullptr;
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(file.Handle()),
                                         _O_RDWR | _O_BINARY | _O_NOINHERIT | chosen.flags);
  if (descriptor < 0) return nullptr;
  file.Release();  // belongs to the descriptor now
  std::FILE* const stream = _fdopen(descriptor, chosen.mode);
  if (!stream) _close(descriptor);
  return stream;
} catch (const std::bad_alloc&) {
  return nullptr;
}

bool file_exists(const char* path) try {
  const DWORD attributes = GetFileAttributesW(wide(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
} catch (const std::bad_alloc&) {
  return false;
}

ModuleHandle program_address() { return GetModuleHandleW(nullptr); }

int print_plainly(char* to, std::size_t room, const char* format, std::va_list arguments) {
  return std::vsnprintf(to, room, format, arguments);
}

bool memory_is_own() {
  const DWORD error = GetLastError();  // which TlsGetValue clears
  const bool own = TlsGetValue(flag_slot) != nullptr;
  SetLastError(error);
  return own;
}

void set_memory_is_own(bool own) { TlsSetValue(flag_slot, own ? &flag_slot : nullptr); }

// The system's numbers are multiples of four.
unsigned thread_number() { return GetCurrentThreadId() / 4; }

void apply_float_control(FloatControl control) {
  fesetround(control.rounding);
  set_masks(FE_ALL_EXCEPT);
  feclearexcept(control.traps);  // an exception flag that is already set must not trap now
  set_masks(FE_ALL_EXCEPT & ~control.traps);
}

}  // namespace corvid_host
