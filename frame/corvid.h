#pragma once

// The host contract: everything that libcorvidnum.so imports from the host support library, which defines it
// with the linkage and names given here. Strings are single-byte and end with a zero. Flags are unsigned
// bytes, 1 for true and 0 for false.

#include <cstddef>

#if defined(__GNUC__)
#define CORVID_API __attribute__((visibility("default")))
#else
#define CORVID_API
#endif

// ---- Memory. Each allocation returns null when memory is exhausted; Corvid_delete and Corvid_free accept
// null. Blocks of Corvid_new are freed by Corvid_delete, all others by Corvid_free.

extern "C" {
CORVID_API void* Corvid_new(std::size_t bytes);
CORVID_API void Corvid_delete(void* block);
CORVID_API void* Corvid_malloc(std::size_t bytes);
CORVID_API void* Corvid_calloc(std::size_t count, std::size_t bytes);
CORVID_API void* Corvid_realloc(void* block, std::size_t bytes);
CORVID_API void Corvid_free(void* block);
CORVID_API char* Corvid_strdup(const char* text);
/// Returns the size in bytes that was asked for when `block` was allocated.
CORVID_API std::size_t Corvid__msize(void* block);
}

// ---- Texts and messages.

/// A string of two machine words, a pointer and a length, that owns a copy of its characters.
class CORVID_API Text {
 public:
  Text();
  /// Copies `characters`, which end with a zero; null gives the empty text.
  Text(const char* characters);  // NOLINT(google-explicit-constructor): part of the contract
  Text(const Text& other);
  Text& operator=(const Text& other);
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

/// Formats a text with the semantics of printf.
CORVID_API Text FormattedText(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// Returns the message text, a printf format, that the host's string table has under `key`.
CORVID_API const Text& FindString(const char* key);

struct ColourResource;
/// Writes a line to the host's trace. The library passes 0 and null.
CORVID_API void Trace(const Text& line, unsigned char flag, ColourResource* colour);
/// Reports an error to the host by the key of its text; further arguments fill that text.
CORVID_API void ErrorMsg(const char* key, ...);

// ---- The application.

using ModuleHandle = void*;

/// Returns the handle of the host application.
CORVID_API ModuleHandle AppInstance();
/// Shows or hides the host's splash screen. The library passes 1 and 0.
CORVID_API void ShowSplashScreen(unsigned char show, unsigned char flag);

// ---- Floating point.

class CORVID_API FPEnvironment {
 public:
  /// Applies the host's floating-point control word to the calling thread.
  void SetControlWord();
};

/// Returns the host's one floating-point environment.
CORVID_API FPEnvironment* pFPEnv();

/// A math-library error, in the public layout of the runtime library.
struct _exception {
  int type;  // a MathErrorType
  char* name;
  double arg1;
  double arg2;
  double retval;  // what the function returns; the host may write to it
};

/// Values of _exception::type.
enum MathErrorType : int {
  kMathDomain = 1,
  kMathSingularity = 2,
  kMathOverflow = 3,
  kMathUnderflow = 4,
  kMathTotalLoss = 5,
  kMathPartialLoss = 6,
};

/// Decides about a math-library error; may change `e->retval`, which the function then returns.
/// @param moduleName path of the library's file, empty if it is unknown
/// @return non-zero if the error is handled; zero makes the library set errno
CORVID_API int Zumatherr(char* moduleName, _exception* e);

// ---- Files.

/// A file with a name and an extension. The order of the virtual operations is part of the contract.
class CORVID_API GenericFile {
 public:
  GenericFile(const Text& name, const Text& extension);
  GenericFile(const GenericFile&) = delete;
  GenericFile& operator=(const GenericFile&) = delete;
  virtual ~GenericFile();

  /// Returns whether the file exists. The library passes 0.
  unsigned char Exists(unsigned char flag) const;

  /// Opens an existing file without emptying it. With `append` 1 writing begins at its end, with 0 reading
  /// and writing begin at its start. Fails if the file does not exist.
  virtual unsigned char Open(unsigned char append);
  /// Creates the file, or empties an existing one.
  virtual unsigned char Create();
  virtual void Close();

 private:
  Text name_;
  Text extension_;

 protected:
  void* stream_;  // belongs to the host library; null: the file is not open
};

/// A file of text. A write to a file that is not open does nothing.
class CORVID_API TextFile : public GenericFile {
 public:
  TextFile(const Text& name, const Text& extension);
  ~TextFile() override;

  virtual void Write(char character);
  /// Writes a text. The library passes 0 as `flag`.
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
  virtual unsigned char ReadInt(int* value) = 0;
  /// Appends a number to the open chunk.
  virtual unsigned char WriteDouble(double value) = 0;
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
