#pragma once

// The host contract: all that libcorvidnum.so imports of the host support library, and nothing more.
// The host support library defines these with the linkage and names given here. Strings are single-byte
// and end with a zero. Flags are unsigned bytes, 1 for true and 0 for false.

#include <cstddef>

#if defined(__GNUC__)
#define CORVID_API __attribute__((visibility("default")))
#else
#define CORVID_API
#endif

// ---- Memory. Null when exhausted; Corvid_delete and Corvid_free accept null.

extern "C" {
CORVID_API void* Corvid_new(std::size_t bytes);
CORVID_API void Corvid_delete(void* block);
CORVID_API void* Corvid_malloc(std::size_t bytes);
CORVID_API void* Corvid_calloc(std::size_t count, std::size_t bytes);
CORVID_API void* Corvid_realloc(void* block, std::size_t bytes);
CORVID_API void Corvid_free(void* block);
CORVID_API char* Corvid_strdup(const char* text);
/// The size in bytes that was asked for.
CORVID_API std::size_t Corvid__msize(void* block);
}

// ---- Texts and messages.

/// A string of two machine words, a pointer and a length, that owns a copy of its characters.
class CORVID_API Text {
 public:
  Text();
  /// Copies `characters`; null gives the empty text.
  Text(const char* characters);  // NOLINT(google-explicit-constructor): part of the contract
  Text(const Text& other);
  Text& operator=(const Text& other);
  ~Text();

  /// The characters, ended by zero; never null. Valid until the text changes or ends.
  const char* Characters() const;
  /// Characters before the ending zero.
  std::size_t Length() const;

 private:
  char* characters_;  // null: empty
  std::size_t length_;
};

/// printf semantics.
CORVID_API Text FormattedText(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// The message text (a printf format) filed under `key` in the host's string table.
CORVID_API const Text& FindString(const char* key);

struct ColourResource;
/// Writes a line to the host's trace. The library passes 0 and null.
CORVID_API void Trace(const Text& line, unsigned char flag, ColourResource* colour);
/// Reports an error to the host by the key of its text; further arguments fill that text.
CORVID_API void ErrorMsg(const char* key, ...);

// ---- The application.

using ModuleHandle = void*;

CORVID_API ModuleHandle AppInstance();
CORVID_API void ShowSplashScreen(unsigned char show, unsigned char flag);

// ---- Floating point.

class CORVID_API FPEnvironment {
 public:
  /// Applies the host's floating-point control word to the calling thread.
  void SetControlWord();
};

/// The host's one floating-point environment.
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

/// Decides about a math-library error: non-zero means handled.
CORVID_API int Zumatherr(char* moduleName, _exception* e);

// ---- Files.

/// A file with a name and an extension. The order of the virtual operations is part of the contract.
class CORVID_API GenericFile {
 public:
  GenericFile(const Text& name, const Text& extension);
  GenericFile(const GenericFile&) = delete;
  GenericFile& operator=(const GenericFile&) = delete;
  virtual ~GenericFile();

  /// Whether the file is there. The library passes 0.
  unsigned char Exists(unsigned char flag) const;

  /// Opens an existing file and keeps what it holds: `append` 1 writes behind it, 0 reads and writes from
  /// the start. Fails if the file is not there.
  virtual unsigned char Open(unsigned char append);
  /// Creates the file, or empties the one that is there.
  virtual unsigned char Create();
  virtual void Close();

 private:
  Text name_;
  Text extension_;

 protected:
  void* stream_;  // the host library's own; null: not open
};

/// A file of text. A write to a file that is not open does nothing.
class CORVID_API TextFile : public GenericFile {
 public:
  TextFile(const Text& name, const Text& extension);
  ~TextFile() override;

  virtual void Write(char character);
  /// The library passes 0 as `flag`.
  virtual void Write(const Text& text, int flag);
};

/// A binary file of chunks, in which numbers stand. The host makes it, open for writing or for reading; the
/// library stores in it and recalls from it. Each operation gives 1, or 0 if it fails. The order of the
/// virtual operations is part of the contract.
class CORVID_API BinaryFile {
 public:
  BinaryFile(const BinaryFile&) = delete;
  BinaryFile& operator=(const BinaryFile&) = delete;
  virtual ~BinaryFile();

  /// Reads the next number of the open chunk. A failure leaves `value` alone.
  virtual unsigned char ReadDouble(double* value) = 0;
  virtual unsigned char ReadInt(int* value) = 0;
  /// Writes a number behind those that the open chunk holds.
  virtual unsigned char WriteDouble(double value) = 0;
  virtual unsigned char WriteInt(int value) = 0;

 protected:
  BinaryFile() = default;
};

/// One chunk of a BinaryFile, from its begin to its end. Chunks nest: the last one begun ends first. A host
/// library knows its own files only: with any other class of BinaryFile each operation gives 0.
class CORVID_API ChunkHeader {
 public:
  /// Starts a chunk of this version in a file that is being written.
  unsigned char Create(BinaryFile& file, short version);
  /// Enters the next chunk of a file that is being read.
  unsigned char Open(BinaryFile& file);
  /// Ends the chunk, after writing and after reading alike. What was not read is passed over.
  unsigned char Close(BinaryFile& file);

  /// The version created, or found by Open.
  short Version() const { return version_; }

 private:
  short version_ = 0;
  unsigned char depth_ = 0;  // chunks open from this one outwards; 0: in no chunk
};
