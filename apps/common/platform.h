#pragma once

// What the programs ask of the system and each system answers in its own way. Names of files are UTF-8.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace apps::platform {

/// Returns the arguments of main() behind the name of the program, as UTF-8.
std::vector<std::string> arguments(int argc, char** argv);

/// Has the standard streams carry bytes as they are, and a console show UTF-8, for the lifetime of the
/// object.
class StandardStreams {
 public:
  StandardStreams();
  ~StandardStreams();
  StandardStreams(const StandardStreams&) = delete;
  StandardStreams& operator=(const StandardStreams&) = delete;
};

/// Returns whether the error stream is a terminal that obeys the usual escape sequences.
bool error_stream_is_terminal();

/// Returns the process's number, which no other one has at the time.
long process_number();

/// Returns whether two paths, both absolute or both in one folder, are the same to the system, which may not
/// tell capital letters from small ones.
bool is_same_path(const std::filesystem::path& a, const std::filesystem::path& b);

/// Returns whether a path is the name of a device, in whatever folder, as NUL is on Windows. Where devices
/// are files, none is.
bool is_name_of_device(const std::filesystem::path& path);

/// Returns the file that a path leads to through symbolic links.
/// @param error  out: what went wrong
std::filesystem::path final_path(const std::filesystem::path& path, std::error_code& error);

/// Returns whether a stream of this process goes to the file that `path` leads to.
bool goes_to(std::FILE* stream, const std::filesystem::path& path);

/// Opens a file to read its bytes; null with errno if that fails.
std::FILE* open_to_read(const std::string& name);

// These return what went wrong, and nothing on success.

/// Tells why a file that is there cannot be written.
std::optional<std::string> obstacle_to_writing(const std::filesystem::path& file);

/// Makes an empty file where there is none, not even a link.
/// @param permissions  less the process's mask, where the system has them
/// @param exists       out: whether it failed because of one that is there
std::optional<std::string> create_new(const std::filesystem::path& file, std::filesystem::perms permissions,
                                      bool& exists);

/// Has the system bring a file to the disk, and gives it the name of another, which it replaces in one step.
/// If that fails, Windows may have removed the other one, and the file has its own name.
std::optional<std::string> replace(const std::filesystem::path& file, const std::filesystem::path& target);

/// Keeps other programs that ask for the lock of the same folder waiting, for the lifetime of the object. No
/// file is left behind. Where the system has no such lock for the folder, nobody waits, and obstacle() tells
/// why.
class FolderLock {
 public:
  /// @param on_wait  called before this waits for another program; may be empty
  explicit FolderLock(const std::filesystem::path& folder, const std::function<void()>& on_wait = nullptr);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  /// Returns why there is no lock; nothing if there is one.
  const std::optional<std::string>& obstacle() const { return obstacle_; }

 private:
  std::intptr_t handle_;  // the system's, of the lock
  std::optional<std::string> obstacle_;
};

}  // namespace apps::platform
