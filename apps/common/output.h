#pragma once

// How the programs put text together, print it and write it to files.

#include <fmt/format.h>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace apps {

/// Collects text line by line.
class Page {
 public:
  template <class... Args>
  void add(fmt::format_string<Args...> format, Args&&... args) {
    fmt::format_to(std::back_inserter(text_), format, std::forward<Args>(args)...);
  }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

/// Writes one line to the error stream, whatever stands in the message: control characters, which a name in a
/// file may hold, come out as blanks. Throws nothing, so that a handler of exceptions may call it.
/// @return `code`, for main() to return
int complain(int code, std::string_view message) noexcept;
/// The same with the name of a file in front, unless it is empty. Needs no memory to put the two together.
int complain(int code, std::string_view file, std::string_view message) noexcept;

inline constexpr const char* kMemoryRefused = "the memory does not suffice";
inline constexpr const char* kNotPrinted = "standard output cannot be written";

/// Returns the text of an error, in the same words on every system where the C library knows the error: those
/// of Windows itself depend on the user's language, and are not UTF-8.
std::string message_of(const std::error_code& error);

/// Prints all of `text` on standard output and flushes it.
/// @return false if standard output cannot be written
bool print_whole(const std::string& text);

/// Returns a field of comma-separated text, in quotes where it needs them.
std::string csv_field(const std::string& field);

/// Returns whether a text has line ends or other control characters, which no name should.
bool has_control_characters(std::string_view text);

// These two return what went wrong, and nothing on success.

/// Tries, before the work, what write_whole_file() will need of `path`. Leaves what is there as it is.
std::optional<std::string> obstacle_to_writing(const std::string& path);

/// Writes `text` beside `path`, has the system bring it to the disk, and renames it over, so that `path`
/// holds the old text or the new one, never a part, with the permissions of the old file. What is not a
/// regular file (a pipe, a device), and the file that standard output or the error stream goes to, is written
/// directly.
std::optional<std::string> write_whole_file(const std::string& path, const std::string& text);

// The same with exceptions: std::runtime_error, "path: what went wrong". The path may be "-" for standard
// output, which is not tried before.

void check_writable(const std::string& path);
void write_file(const std::string& path, const std::string& text);

/// Tells where the report of a run goes: nowhere if nobody wants it, and to the error stream if standard
/// output is taken by a result.
struct ReportStream {
  bool quiet = false;
  std::string output;  // of the result, "-" for standard output; empty if there is none

  /// Prints all of a report and flushes it.
  /// @return false if the stream cannot be written
  bool print(const std::string& text) const;
};

/// A new file that is written beside the target of `path`, which is found through symbolic links, and then
/// takes its place.
class Replacement {
 public:
  /// Creates the file under a name that no other file has. If that fails, obstacle() says why; if the target
  /// is a pipe or a device, or what standard output or the error stream goes to, no file is created and
  /// direct() is true.
  /// @param ending  the ending of the new file's name
  Replacement(const std::string& path, const std::string& ending);
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  /// Removes the file unless it is in place.
  ~Replacement();

  const std::optional<std::string>& obstacle() const { return obstacle_; }
  /// Returns whether the target is to be written itself.
  bool direct() const { return direct_; }
  /// Returns the name of the new file, or the target that is to be written itself.
  const std::string& name() const { return name_; }

  /// Has the system bring the file to the disk, gives it the permissions of the old one, and renames it.
  std::optional<std::string> put_in_place();

 private:
  std::optional<std::string> create(const std::string& ending);

  std::string target_, name_;
  std::filesystem::path new_file_;  // made early: to clear up needs no memory then
  bool direct_ = false;
  std::optional<std::filesystem::perms> permissions_;  // of the old file, if there is one
  bool made_ = false;                                  // the new file is there
  std::optional<std::string> obstacle_;
};

}  // namespace apps
