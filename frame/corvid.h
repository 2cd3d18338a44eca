#pragma once

/// @file
/// The host contract: everything that the library imports from the host support library, which defines it
/// with the linkage and names given here. Strings are single-byte and end with a zero. Flags are unsigned
/// bytes, 1 for true and 0 for false.

#include <math.h>  // on Windows it defines _exception

#include <cstddef>

#include "frame/export.h"

// ---- Memory. Each allocation returns null when memory is exhausted; Corvid_delete and Corvid_free accept
// null. Blocks of Corvid_new are freed by Corvid_delete, all others by Corvid_free.

extern "C" {
/// Allocates a block, aligned for every basic type. Returns null when memory is exhausted.
CORVID_API void* Corvid_new(std::size_t bytes);
/// Frees a block of Corvid_new; null is accepted.
CORVID_API void Corvid_delete(void* block);
/// Allocates as `malloc` does. The library allocates by Corvid_new only; this and the functions that follow
/// are for the runtime library of a host.
CORVID_API void* Corvid_malloc(std::size_t bytes);
/// Allocates `count` elements of `bytes` bytes, all zero, as `calloc` does.
CORVID_API void* Corvid_calloc(std::size_t count, std::size_t bytes);
/// Changes the size of a block as `realloc` does. If the result is null, `block` is as it was.
CORVID_API void* Corvid_realloc(void* block, std::size_t bytes);
/// Frees a block of any of these functions but Corvid_new; null is accepted.
CORVID_API void Corvid_free(void* block);
/// Copies a text that ends with a zero into a new block, as `strdup` does.
CORVID_API char* Corvid_strdup(const char* text);
/// Returns the size in bytes that was asked for when `block` was allocated.
CORVID_API std::size_t Corvid__msize(void* block);
}

// ---- Texts and messages.

/// A string of two machine words, a pointer and a length, that owns a copy of its characters.
class CORVID_API Text {
 public:
  /// Makes the empty text.
  Text();
  /// Copies `characters`, which end with a zero; null gives the empty text.
  Text(const char* characters);  // NOLINT(google-explicit-constructor): part of the contract
  /// Copies the characters. If memory is refused, the copy is empty.
  Text(const Text& other);
  /// Copies the characters. If memory is refused, the text is empty.
  Text& operator=(const Text& other);
  /// Frees the characters.
  ~Text();

  /// Returns the characters, which end with a zero; never null. They are valid until the text is assigned to
  /// or destroyed.
  const char* Characters() const;
  /// Returns the number of characters before the ending zero.
  std::size_t Length() const;

 private:
  char* characters_;  // null: empty
  std::size_t length_;
};

/// Formats a text with the semantics of printf. If memory is refused, the text is empty.
CORVID_API Text FormattedText(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// Returns the message text, a printf format, that the host's string table has under `key`;
/// docs/host-guide.md lists the library's keys. The text stays the host's.
CORVID_API const Text& FindString(const char* key);

/// A colour of the host's trace; the library knows none.
struct ColourResource;
/// Writes a line, which has no line end, to the host's trace. The library passes 0 and null.
CORVID_API void Trace(const Text& line, unsigned char flag, ColourResource* colour);
/// Reports an error to the host by the key of its text; further arguments fill that text.
CORVID_API void ErrorMsg(const char* key, ...);

// ---- The application.

/// The handle of a loaded program or library: its load address.
using ModuleHandle = void*;

/// Returns the handle of the host application.
CORVID_API ModuleHandle AppInstance();
/// Shows or hides the host's splash screen. The library passes 1 and 0.
CORVID_API void ShowSplashScreen(unsigned char show, unsigned char flag);

// ---- Floating point.

/// The floating-point environment that the host gives to its threads.
class CORVID_API FPEnvironment {
 public:
  /// Applies the host's floating-point control word to the calling thread.
  void SetControlWord();
};

/// Returns the host's one floating-point environment.
CORVID_API FPEnvironment* pFPEnv();

#if !defined(_EXCEPTION_DEFINED)
/// A math-library error, in the public layout of the runtime library.
struct _exception {
  int type;       ///< a MathErrorType
  char* name;     ///< of the function, ended by a zero
  double arg1;    ///< its first argument
  double arg2;    ///< its second argument, or 0
  double retval;  ///< what the function returns; the host may write to it
};
#endif

/// Values of _exception::type.
enum MathErrorType : int {
  kMathDomain = 1,       ///< the function is not defined there
  kMathSingularity = 2,  ///< the result is infinite
  kMathOverflow = 3,     ///< the result is too large for a double
  kMathUnderflow = 4,    ///< the result is too small for a double
  kMathTotalLoss = 5,    ///< no digit of the result is right
  kMathPartialLoss = 6,  ///< some digits of the result are lost
};

/// Decides about a math-library error; may change `e->retval`, which the function then returns.
/// @param moduleName path of the library's file, empty if it is unknown
/// @param e          the error
/// @return non-zero if the error is handled; zero makes the library set errno
CORVID_API int Zumatherr(char* moduleName, _exception* e);

// ---- Files.

/// A file with a name and an extension. The order of the virtual operations is part of the contract.
class CORVID_API GenericFile {
 public:
  /// Stores both; does not open the file. The host library joins them to the file's name, by a dot or as its
  /// system wants: `extension` comes without a dot.
  GenericFile(const Text& name, const Text& extension);
  GenericFile(const GenericFile&) = delete;
  GenericFile& operator=(const GenericFile&) = delete;
  /// Closes the file.
  virtual ~GenericFile();

  /// Returns whether the file exists. The library passes 0.
  unsigned char Exists(unsigned char flag) const;

  /// Opens an existing file without emptying it. With `append` 1 writing begins at its end, with 0 reading
  /// and writing begin at its start. Returns 1, or 0 if the file does not exist or cannot be opened.
  virtual unsigned char Open(unsigned char append);
  /// Creates the file, or empties an existing one. Returns 1, or 0 if that fails.
  virtual unsigned char Create();
  /// Closes the file; one that is not open is left as it is.
  virtual void Close();

 private:
  Text name_;
  Text extension_;

 protected:
  void* stream_;  ///< belongs to the host library; null: the file is not open
};

/// A file of text. A write to a file that is not open does nothing.
class CORVID_API TextFile : public GenericFile {
 public:
  /// Stores both; see GenericFile.
  TextFile(const Text& name, const Text& extension);
  ~TextFile() override;

  /// Writes one character; `\\n` ends a line.
  virtual void Write(char character);
  /// Writes a text as it is: no line end is added. The library passes 0 as `flag`.
  virtual void Write(const Text& text, int flag);
};

/// A binary file made of chunks of numbers. The host creates it, open either for writing or for reading; the
/// library stores tables in it and recalls them. Each operation returns 1, or 0 if it fails. The order of the
/// virtual operations is part of the contract.
class CORVID_API BinaryFile {
 public:
  BinaryFile(const BinaryFile&) = delete;
  BinaryFile& operator=(const BinaryFile&) = delete;
  virtual ~BinaryFile();

  /// Reads the next number of the open chunk. A failure leaves `value` unchanged.
  virtual unsigned char ReadDouble(double* value) = 0;
  /// Reads the next number of the open chunk. A failure leaves `value` unchanged.
  virtual unsigned char ReadInt(int* value) = 0;
  /// Appends a number to the open chunk.
  virtual unsigned char WriteDouble(double value) = 0;
  /// Appends a number to the open chunk.
  virtual unsigned char WriteInt(int value) = 0;

 protected:
  BinaryFile() = default;
};

/// One chunk of a BinaryFile. Chunks nest: the one begun last is closed first. Each operation returns 1, or 0
/// if it fails; a host library knows only its own files, so with any other class derived from BinaryFile
/// every operation fails.
class CORVID_API ChunkHeader {
 public:
  /// Begins a chunk of this version in a file that is being written.
  unsigned char Create(BinaryFile& file, short version);
  /// Enters the next chunk of a file that is being read.
  unsigned char Open(BinaryFile& file);
  /// Ends the chunk, after writing and after reading alike. Numbers that were not read are skipped.
  unsigned char Close(BinaryFile& file);

  /// Returns the version given to Create or found by Open.
  short Version() const { return version_; }

 private:
  short version_ = 0;
  unsigned char depth_ = 0;  // nesting depth of this chunk, 1 for an outermost one; 0: not open
};
