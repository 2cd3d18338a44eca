#pragma once

// Files that are read and written whole. A function gives null, or why it failed.

#include <cstddef>

namespace corvid_host {

/// Reads a regular file of at most `most` bytes.
/// @param bytes receives a block of Corvid_malloc, or null on failure; the caller frees it
const char* read_whole_file(const char* path, std::size_t most, unsigned char** bytes, std::size_t* count);

/// Writes beside the file, makes sure that all is on disk, and only then takes its place. Symbolic links
/// stay; the file that they lead to is replaced. Its permissions stay.
const char* replace_file(const char* path, const unsigned char* bytes, std::size_t count);

}  // namespace corvid_host
