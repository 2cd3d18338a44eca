#pragma once

// The files that the program writes: checked before the work, so that none of it is lost, and written after.

#include <string>

namespace solve {

/// Checks that a file can be written by write_file(). Leaves what is there as it is.
/// @throws std::runtime_error that names the file
void check_writable(const std::string& path);

/// Writes the file whole or not at all.
/// @throws std::runtime_error that names the file
void write_file(const std::string& path, const std::string& text);

}  // namespace solve
