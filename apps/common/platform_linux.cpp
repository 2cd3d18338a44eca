#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "apps/common/platform.h"

namespace apps::platform {
namespace {

namespace fs = std::filesystem;

std::string system_error() { return std::strerror(errno); }

/// Has the system bring a file, or the names in a folder, to the disk.
bool synchronise(const fs::path& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool done = fsync(file) == 0;
  const int why = errno;
  close(file);
  errno = why;
  return done;
}

}  // namespace

std::vector<std::string> arguments(int argc, char** argv) {
  return argc > 0 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

// Bytes pass as they are, and terminals show UTF-8 by themselves.
StandardStreams::StandardStreams() = default;
StandardStreams::~StandardStreams() = default;

bool error_stream_is_terminal() { return isatty(STDERR_FILENO) != 0; }

long process_number() { return getpid(); }

bool is_same_path(const fs::path& a, const fs::path& b) { return a == b; }

bool is_name_of_device(const fs::path& /*path*/) { return false; }

fs::path final_path(const fs::path& path, std::error_code& error) { return fs::canonical(path, error); }

bool goes_to(std::FILE* stream, const fs::path& path) {
  using FileStatus = struct stat;  // there is a function of this name, too
  FileStatus target{}, open_file{};
  return stat(path.c_str(), &target) == 0 && fstat(fileno(stream), &open_file) == 0 &&
         open_file.st_dev == target.st_dev && open_file.st_ino == target.st_ino;
}

std::FILE* open_to_read(const std::string& name) { return std::fopen(name.c_str(), "rb"); }

std::optional<std::string> obstacle_to_writing(const fs::path& file) {
  if (access(file.c_str(), W_OK) == 0) return std::nullopt;
  return system_error();
}

std::optional<std::string> create_new(const fs::path& file, fs::perms permissions, bool& exists) {
  const int created =
      open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, static_cast<mode_t>(permissions));
  exists = created < 0 && errno == EEXIST;
  if (created < 0) return system_error();
  close(created);
  return std::nullopt;
}

std::optional<std::string> replace(const fs::path& file, const fs::path& target) {
  if (!synchronise(file) || std::rename(file.c_str(), target.c_str()) != 0) return system_error();
  // The new name itself. Where a folder cannot be synchronised the name leads to either complete file.
  const fs::path folder = target.parent_path();
  synchronise(folder.empty() ? "." : folder);
  return std::nullopt;
}

// The folder itself carries the lock.
FolderLock::FolderLock(const fs::path& folder, const std::function<void()>& on_wait)
    : handle_(open(folder.c_str(), O_RDONLY | O_CLOEXEC)) {
  const int file = static_cast<int>(handle_);
  bool locked = file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0;
  if (!locked && file >= 0 && errno == EWOULDBLOCK) {
    if (on_wait) on_wait();
    do locked = flock(file, LOCK_EX) == 0;
    while (!locked && errno == EINTR);
  }
  if (!locked) obstacle_ = system_error();
}

FolderLock::~FolderLock() {
  if (handle_ >= 0) close(static_cast<int>(handle_));
}

}  // namespace apps::platform
