#include "examples/common/output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace examples {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> write_directly(const fs::path& path, const std::string& text) {
  errno = 0;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (file) return std::nullopt;
  return std::string(errno != 0 ? std::strerror(errno) : "cannot be written");
}

}  // namespace

int complain(int code, std::string_view message) noexcept {
  std::fwrite(message.data(), 1, message.size(), stderr);
  std::fputc('\n', stderr);
  return code;
}

std::string csv_field(const std::string& field) {
  if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
  std::string out = "\"";
  for (const char ch : field) {
    if (ch == '"') out += '"';
    out += ch;
  }
  return out + '"';
}

std::optional<std::string> write_whole_file(const std::string& path, const std::string& text) {
  std::error_code error;
  const bool exists = fs::exists(path, error);
  if (exists && !fs::is_regular_file(path, error)) return write_directly(path, text);
  const fs::path target =
      exists ? fs::canonical(path, error) : fs::path(path);  // through a link, not over it
  if (error) return error.message();
  const fs::path part = fmt::format("{}.{}.part", target.string(), getpid());
  std::optional<std::string> failure = write_directly(part, text);
  if (!failure) {
    fs::rename(part, target, error);
    if (error) failure = error.message();
  }
  if (failure) fs::remove(part, error);
  return failure;
}

}  // namespace examples
