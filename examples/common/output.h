#pragma once

// How the example hosts put text together and on disk.

#include <fmt/format.h>

#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace examples {

/// Text that grows line by line.
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

/// Writes one line to the error stream. Throws nothing, so that a handler of exceptions may call it.
/// @return `code`, for main() to return
int complain(int code, std::string_view message) noexcept;

/// A field of comma-separated text, in quotes where it needs them.
std::string csv_field(const std::string& field);

/// Writes `text` beside `path` and renames it over, so that `path` holds the old text or the new one, never
/// a part. What is not a regular file (a pipe, a device) is written directly.
/// @return what went wrong; nothing on success
std::optional<std::string> write_whole_file(const std::string& path, const std::string& text);

}  // namespace examples
