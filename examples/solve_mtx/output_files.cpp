#include "examples/solve_mtx/output_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "examples/common/output.h"

namespace solve_mtx {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> last_failure() { return std::string(std::strerror(errno)); }

/// Opening a pipe would wait for its reader, and opening a device may do something, so neither is opened.
std::optional<std::string> special_file_failure(const fs::path& path) {
  if (fs::is_directory(path)) return std::string(std::strerror(EISDIR));
  return access(path.c_str(), W_OK) == 0 ? std::nullopt : last_failure();
}

/// Creates a file beside `path`, as writing does before it renames, and removes it. Permissions alone do not
/// tell: they bind no privileged user, and may hold on a file system that takes no new files.
std::optional<std::string> creation_failure(const fs::path& path) {
  const fs::path probe = fmt::format("{}.{}.probe", path.string(), getpid());
  const int file = open(probe.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file < 0) return last_failure();
  close(file);
  return unlink(probe.c_str()) == 0 ? std::nullopt : last_failure();
}

std::optional<std::string> failure_to_write(const std::string& path) {
  std::error_code error;
  if (!fs::exists(path, error)) return error ? error.message() : creation_failure(path);
  if (!fs::is_regular_file(path, error)) return special_file_failure(path);
  const fs::path target = fs::canonical(path, error);  // links are written through
  return error ? error.message() : creation_failure(target);
}

}  // namespace

void check_writable(const std::string& path) {
  if (const auto failure = failure_to_write(path)) throw std::runtime_error(path + ": " + *failure);
}

void write_file(const std::string& path, const std::string& text) {
  if (const auto failure = examples::write_whole_file(path, text))
    throw std::runtime_error(path + ": " + *failure);
}

}  // namespace solve_mtx
