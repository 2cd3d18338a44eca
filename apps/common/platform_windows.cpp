#include <fcntl.h>
#include <fmt/format.h>
#include <io.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

// Before shellapi.h, which needs it.
#include <windows.h>

#include <shellapi.h>

#include "apps/common/output.h"
#include "apps/common/platform.h"
#include "host/windows_files.h"

namespace apps::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::FILE* (*)(), 3> kStreams = {[] { return stdin; }, [] { return stdout; },
                                                      [] { return stderr; }};

/// Returns the text of the C library's last error, the same that it is on other systems.
std::string library_error() { return std::strerror(errno); }

/// Returns the text of the system's last error: that of the C library for the same condition if there is one.
std::string system_error() {
  return message_of(std::error_code(static_cast<int>(GetLastError()), std::system_category()));
}

/// Returns a handle that is open to a file or folder, or INVALID_HANDLE_VALUE.
HANDLE open_handle(const fs::path& path, DWORD access, DWORD flags) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  return CreateFileW(path.c_str(), access, kShareAll, nullptr, OPEN_EXISTING, flags, nullptr);
}

/// Returns a path of the whole file system, in which the name of a device has the folder of devices.
std::wstring full_path(const fs::path& path) {
  std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full;
}

/// Tells which file something open is.
bool identify(HANDLE file, BY_HANDLE_FILE_INFORMATION& known) {
  return file != INVALID_HANDLE_VALUE && GetFileInformationByHandle(file, &known) != 0;
}

/// Tells which file or folder a path leads to.
bool identify(const fs::path& path, BY_HANDLE_FILE_INFORMATION& known) {
  const HANDLE file = open_handle(path, 0, FILE_FLAG_BACKUP_SEMANTICS);  // the flag that folders need
  const bool done = identify(file, known);
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
  return done;
}

/// The console as it was before the program changed it; 0 is what there is none of.
struct FormerConsole {
  std::atomic<UINT> page;
  std::atomic<DWORD> error_mode;
};
FormerConsole former_console;

void restore_console() {
  if (former_console.page != 0) SetConsoleOutputCP(former_console.page);
  if (former_console.error_mode != 0)
    SetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), former_console.error_mode);
}

/// Restores the console when the user ends the program, and has the system go on with that.
BOOL WINAPI restore_console_at_end(DWORD /*event*/) {
  restore_console();
  return FALSE;
}

/// Has the system bring a file to the disk.
bool synchronise(const fs::path& path) {
  const HANDLE file = open_handle(path, GENERIC_WRITE, FILE_ATTRIBUTE_NORMAL);
  if (file == INVALID_HANDLE_VALUE) return false;
  const bool done = FlushFileBuffers(file) != 0;
  const DWORD why = GetLastError();
  CloseHandle(file);
  SetLastError(why);
  return done;
}

/// Returns a name for a lock that all paths of a folder share, or an empty one if the folder cannot be
/// opened.
std::wstring lock_name(const fs::path& folder) {
  BY_HANDLE_FILE_INFORMATION known = {};
  if (!identify(folder, known)) return {};
  return fs::u8path(fmt::format("Global\\corvidnum-folder-{:08x}-{:08x}{:08x}", known.dwVolumeSerialNumber,
                                known.nFileIndexHigh, known.nFileIndexLow))
      .wstring();
}

}  // namespace

// Those that main() gets are in the system's own page of characters, which has not all.
std::vector<std::string> arguments(int argc, char** argv) {
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  if (words == nullptr) return {argv + 1, argv + argc};
  std::vector<std::string> all;
  for (int i = 1; i < count; ++i) {
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, words[i], -1, nullptr, 0, nullptr, nullptr);
    std::string word(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, words[i], -1, word.data(), bytes, nullptr, nullptr);
    word.pop_back();  // the end mark
    all.push_back(std::move(word));
  }
  LocalFree(words);
  return all;
}

StandardStreams::StandardStreams() {
  for (const auto stream : kStreams) _setmode(_fileno(stream()), _O_BINARY);
  former_console.page = GetConsoleOutputCP();
  if (former_console.page == 0) return;  // no console
  SetConsoleCtrlHandler(restore_console_at_end, TRUE);
  SetConsoleOutputCP(CP_UTF8);
}

StandardStreams::~StandardStreams() {
  restore_console();
  if (former_console.page != 0) SetConsoleCtrlHandler(restore_console_at_end, FALSE);
}

bool error_stream_is_terminal() {
  const HANDLE console = GetStdHandle(STD_ERROR_HANDLE);
  DWORD mode = 0;
  if (GetConsoleMode(console, &mode) == 0) return false;
  if (former_console.error_mode == 0) former_console.error_mode = mode;
  return SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

long process_number() { return static_cast<long>(GetCurrentProcessId()); }

bool is_same_path(const fs::path& a, const fs::path& b) {
  return CompareStringOrdinal(a.c_str(), -1, b.c_str(), -1, TRUE) == CSTR_EQUAL;
}

bool is_name_of_device(const fs::path& path) {
  constexpr std::wstring_view kDevices = L"\\\\.\\";
  return full_path(path).compare(0, kDevices.size(), kDevices) == 0;
}

// The library's fs::canonical leaves links as they are.
fs::path final_path(const fs::path& path, std::error_code& error) {
  return windows_files::final_name(fs::absolute(path, error));
}

bool goes_to(std::FILE* stream, const fs::path& path) {
  BY_HANDLE_FILE_INFORMATION target = {}, open_file = {};
  const HANDLE file = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
  return identify(path, target) && identify(file, open_file) &&
         target.dwVolumeSerialNumber == open_file.dwVolumeSerialNumber &&
         target.nFileIndexHigh == open_file.nFileIndexHigh && target.nFileIndexLow == open_file.nFileIndexLow;
}

std::FILE* open_to_read(const std::string& name) {
  const fs::path path = fs::u8path(name);
  std::FILE* const file = _wfopen(path.c_str(), L"rb");
  // Access to a folder is refused without saying that it is one.
  std::error_code none;
  if (file == nullptr && fs::is_directory(path, none)) errno = EISDIR;
  return file;
}

std::optional<std::string> obstacle_to_writing(const fs::path& file) {
  constexpr int kWrite = 2;
  if (is_name_of_device(file)) return std::nullopt;
  if (_waccess(file.c_str(), kWrite) == 0) return std::nullopt;
  return library_error();
}

// Permissions come from the folder.
std::optional<std::string> create_new(const fs::path& file, fs::perms /*permissions*/, bool& exists) {
  const int created =
      _wopen(file.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
  exists = created < 0 && errno == EEXIST;
  if (created < 0) return library_error();
  _close(created);
  return std::nullopt;
}

std::optional<std::string> replace(const fs::path& file, const fs::path& target) {
  if (!synchronise(file) || !windows_files::take_the_place(file.wstring(), target.wstring()))
    return system_error();
  return std::nullopt;
}

// A folder cannot be locked, so a mutex of the system is named by the number that the disk has for the
// folder. One that a program left by its own end counts as ours.
FolderLock::FolderLock(const fs::path& folder, const std::function<void()>& on_wait) : handle_(0) {
  const std::wstring name = lock_name(folder);
  const HANDLE mutex = name.empty() ? nullptr : CreateMutexW(nullptr, FALSE, name.c_str());
  if (mutex == nullptr) {
    obstacle_ = "cannot be locked";
    return;
  }
  if (WaitForSingleObject(mutex, 0) == WAIT_TIMEOUT) {
    if (on_wait) on_wait();
    WaitForSingleObject(mutex, INFINITE);
  }
  handle_ = reinterpret_cast<std::intptr_t>(mutex);
}

FolderLock::~FolderLock() {
  if (handle_ == 0) return;
  const HANDLE mutex = reinterpret_cast<HANDLE>(handle_);
  ReleaseMutex(mutex);
  CloseHandle(mutex);
}

}  // namespace apps::platform
