#include "apps/common/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "apps/common/input.h"
#include "apps/common/platform.h"

namespace apps {
namespace {

namespace fs = std::filesystem;

std::string system_error() { return std::strerror(errno); }

bool is_control(char ch) {
  constexpr char kFirstPrintable = ' ', kDelete = 0x7F;
  return (ch >= 0 && ch < kFirstPrintable) || ch == kDelete;
}

std::optional<std::string> write_to(const std::string& path, const std::string& text) {
  errno = 0;
  std::ofstream file(fs::u8path(path), std::ios::binary | std::ios::app);
  file << text;
  file.close();
  if (file) return std::nullopt;
  return errno != 0 ? system_error() : "cannot be written";
}

bool print_on(std::FILE* stream, const std::string& text) {
  return std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
}

/// Returns standard output or the error stream if it goes to the file that `path` leads to, as under
/// /dev/stdout; nullptr if neither does.
std::FILE* stream_to(const fs::path& path) {
  for (std::FILE* stream : {stdout, stderr})
    if (platform::goes_to(stream, path)) return stream;
  return nullptr;
}

}  // namespace

int complain(int code, std::string_view message) noexcept { return complain(code, {}, message); }

int complain(int code, std::string_view file, std::string_view message) noexcept {
  for (const std::string_view text : {file, std::string_view(file.empty() ? "" : ": "), message})
    for (const char ch : text) std::fputc(is_control(ch) ? ' ' : ch, stderr);
  std::fputc('\n', stderr);
  return code;
}

std::string message_of(const std::error_code& error) { return error.default_error_condition().message(); }

bool print_whole(const std::string& text) { return print_on(stdout, text); }

bool ReportStream::print(const std::string& text) const {
  return quiet || print_on(is_standard_stream(output) ? stderr : stdout, text);
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

bool has_control_characters(std::string_view text) {
  return std::any_of(text.begin(), text.end(), is_control);
}

Replacement::Replacement(const std::string& path, const std::string& ending) : target_(path), name_(path) {
  std::error_code error;
  const fs::path named = fs::u8path(path);
  const fs::file_status status = fs::status(named, error);
  if (fs::exists(status)) {
    obstacle_ = platform::obstacle_to_writing(named);
    if (fs::is_directory(status)) obstacle_ = std::strerror(EISDIR);
    // Replacing the file of a stream would lose what it holds, and what is still printed there.
    direct_ = !fs::is_regular_file(status) || stream_to(named) != nullptr;
    permissions_ = status.permissions() & fs::perms::all;
    if (!direct_) target_ = platform::final_path(named, error).u8string();  // through a link, not over it
    if (error) obstacle_ = message_of(error);
  }
  direct_ = direct_ || platform::is_name_of_device(named);
  if (!obstacle_ && !direct_) obstacle_ = create(ending);
}

std::optional<std::string> Replacement::create(const std::string& ending) {
  constexpr fs::perms kForAll =
      static_cast<fs::perms>(0666);  // to read and to write; less the process's mask
  // At no time may more people read the file than the old one.
  const fs::perms permissions =
      permissions_ ? (*permissions_ & kForAll) | fs::perms::owner_read | fs::perms::owner_write : kForAll;
  for (int serial = 0;; ++serial) {
    name_ = fmt::format("{}.{}-{}{}", target_, platform::process_number(), serial, ending);
    // Not one that is there, not even as a link: somebody may have put it there on purpose.
    bool exists = false;
    new_file_ = fs::u8path(name_);
    auto failure = platform::create_new(new_file_, permissions, exists);
    if (exists) continue;
    made_ = !failure;
    return failure;
  }
}

Replacement::~Replacement() {
  std::error_code gone;
  if (made_) fs::remove(new_file_, gone);
}

std::optional<std::string> Replacement::put_in_place() {
  if (direct_) return std::nullopt;
  std::error_code refused;  // by a file system without permissions
  if (permissions_) fs::permissions(fs::u8path(name_), *permissions_, refused);
  auto failure = platform::replace(fs::u8path(name_), fs::u8path(target_));
  // The old file may be gone after a failure. Then the new one is the only copy, and stays.
  std::error_code unknown;
  made_ = failure && (!permissions_ || fs::exists(fs::u8path(target_), unknown));
  if (failure && !made_) *failure += "; the old file is gone, and the new one is " + name_;
  return failure;
}

std::optional<std::string> obstacle_to_writing(const std::string& path) {
  return Replacement(path, ".part").obstacle();
}

std::optional<std::string> write_whole_file(const std::string& path, const std::string& text) {
  Replacement file(path, ".part");
  if (file.obstacle()) return file.obstacle();
  // By the stream itself: were the file opened once more, each would write over what the other has written.
  if (std::FILE* const stream = stream_to(fs::u8path(path)))
    return print_on(stream, text) ? std::nullopt : std::optional(system_error());
  if (auto failure = write_to(file.name(), text)) return failure;
  return file.put_in_place();
}

void check_writable(const std::string& path) {
  if (is_standard_stream(path)) return;
  if (const auto obstacle = obstacle_to_writing(path)) throw std::runtime_error(path + ": " + *obstacle);
}

void write_file(const std::string& path, const std::string& text) {
  if (is_standard_stream(path)) {
    if (!print_whole(text)) throw std::runtime_error(kNotPrinted);
    return;
  }
  if (const auto failure = write_whole_file(path, text)) throw std::runtime_error(path + ": " + *failure);
}

}  // namespace apps
