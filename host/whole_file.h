#pragma once

// Files that are read and written as a whole. Each function returns null, or a text that says why it failed.

#include <cstddef>

namespace corvid_host {

/// Reads a regular file of at most `most` bytes.
/// @param bytes out: a block of Corvid_malloc, which the caller frees; null on failure
/// @param count out: number of bytes read; unchanged on failure
const char* read_whole_file(const char* path, std::size_t most, unsigned char** bytes, std::size_t* count);

/// Replaces a file by `count` bytes, or creates it: writes a new file beside it, synchronises it with the
/// disk, and renames it. If `path` is a symbolic link, the file that it leads to is replaced. Permissions are
/// kept.
const char* replace_file(const char* path, const unsigned char* bytes, std::size_t count);

}  // namespace corvid_host
