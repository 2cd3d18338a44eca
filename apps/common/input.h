#pragma once

// Reads what a program is given: a file, compressed or not, or standard input.

#include <string>
#include <string_view>

namespace apps {

/// Returns whether a path is "-", which stands for standard input or output.
inline bool is_standard_stream(std::string_view path) { return path == "-"; }

/// Returns the name of an input in messages and reports: that of the file, or "standard input".
inline std::string_view input_name(std::string_view path) {
  return is_standard_stream(path) ? "standard input" : path;
}

/// Returns all of a file, or of standard input for "-". Text that gzip has compressed is told by its first
/// bytes, whatever the file is called, and inflated. A byte order mark of UTF-8 in front is left out.
/// @throws BadCase  "name: why" it cannot be read
std::string read_input(const std::string& path);

}  // namespace apps
