#pragma once

// What the host support library needs of the system: files, the program's address, a flag of each thread, the
// floating-point unit.
// Names of files are UTF-8; on Linux any bytes are a name.

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "host/corvid_host.h"

namespace corvid_host {

// ---- Whole files. Each function returns null, or a text that says why it failed.

/// Reads a regular file of at most `most` bytes.
/// @param bytes out: a block of Corvid_malloc, which the caller frees; null on failure
/// @param count out: number of bytes read; unchanged on failure
const char* read_whole_file(const char* path, std::size_t most, unsigned char** bytes, std::size_t* count);

/// Replaces a file by `count` bytes, or creates it: writes a new file beside it, synchronises it with the
/// disk, and renames it. If `path` is a symbolic link, the file that it leads to is replaced. Permissions are
/// kept.
const char* replace_file(const char* path, const unsigned char* bytes, std::size_t count);

// ---- Text files, whose lines end with one character on every system.

/// How open_stream opens a file for reading and writing.
enum class StreamMode {
  kAppend,    ///< an existing file; what is written goes to its end
  kExisting,  ///< an existing file, from its start
  kEmpty,     ///< a new file, or an existing one without its contents
};

/// Opens a file as a stream that programs begun by this one do not inherit; null if the system reports an
/// error, as it does for an empty path.
std::FILE* open_stream(const char* path, StreamMode mode);

/// Returns whether something that is not a folder has this name.
bool file_exists(const char* path);

// ---- Texts.

/// Writes as vsnprintf does, on Linux with the decimal point and the messages of the "C" locale, so that a
/// log reads the same whatever locale the program has taken. On Windows, where only whole programs or threads
/// have one, that decides.
int print_plainly(char* to, std::size_t room, const char* format, std::va_list arguments);

// ---- The process.

/// Returns the load address of the program, null if the system does not tell it.
ModuleHandle program_address();

/// Returns the flag of the calling thread, false before the first set_memory_is_own: whether what the thread
/// allocates belongs to the host (see OwnMemory).
bool memory_is_own();
void set_memory_is_own(bool own);

/// Returns a number of the calling thread. Threads of the same time have different ones.
unsigned thread_number();

/// Applies rounding and traps to the calling thread. An exception flag that is already set does not trap.
void apply_float_control(FloatControl control);

}  // namespace corvid_host
