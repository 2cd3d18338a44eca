#pragma once

/// @file
/// How a host program sets up and watches this open host support library. The numerics library knows nothing
/// of it: all that the library imports stands in frame/corvid.h. Every function may be called by any thread.

#include <cstddef>
#include <cstdint>

#include "frame/corvid.h"

/// Sets up and watches the open host support library.
namespace corvid_host {

// ---- Lines. Every message of the library and of the host goes to a sink, as one line.

/// Where a line comes from.
enum class LineKind : int {
  kTrace = 0,  ///< from Trace
  kError = 1,  ///< from ErrorMsg
};

/// A function that receives a line: a text without a line end that ends with zero and is valid until the sink
/// returns. Lines of several threads arrive one at a time. A sink may itself trace, or choose another sink.
using LineSink = void (*)(void* context, LineKind kind, const char* line);

/// Chooses the sink of all further lines. When it has returned, the former sink is not called any more.
/// @param sink    null: the standard error stream again, where an error line begins with "error: "
/// @param context handed to the sink as it is; stays the caller's
CORVID_API void SetLineSink(LineSink sink, void* context = nullptr);

// ---- The string table. At first it has the seven texts that the library asks for.

/// Stores a text under a key, in place of any former one. Both are copied; texts that FindString has returned
/// before stay valid and unchanged.
/// @param key  under which FindString and ErrorMsg find it
/// @param text a printf format for the arguments that come with the key
/// @return true; false, and nothing is stored, if an argument is null, memory is exhausted, or the text is
///         for one of the library's keys and needs arguments other than the integers (%d) that the library
///         passes with that key
CORVID_API bool SetString(const char* key, const char* text);

// ---- The application.

/// Chooses what AppInstance() returns.
/// @param handle null: the load address of the program, which is the default
CORVID_API void SetAppInstance(ModuleHandle handle);

/// A function that receives the arguments of ShowSplashScreen.
using SplashHandler = void (*)(unsigned char show, unsigned char flag);

/// Chooses the function that shows the splash screen.
/// @param handler null: no splash screen is shown, which is the default
CORVID_API void SetSplashHandler(SplashHandler handler);

// ---- Floating point.

/// The host's floating-point control word.
struct FloatControl {
  int rounding;  ///< FE_TONEAREST, FE_UPWARD, FE_DOWNWARD or FE_TOWARDZERO of `<cfenv>`
  int traps;     ///< FE_INVALID, FE_DIVBYZERO, ...: the exceptions that trap; all others are masked
};

/// Chooses what FPEnvironment::SetControlWord applies from now on; the call itself changes the state of no
/// thread. The default is to round to nearest with all traps masked.
/// @return true; false, and nothing changes, if `<cfenv>` does not know the rounding or a trap
CORVID_API bool SetFloatControl(FloatControl control);

/// Returns how often SetControlWord was applied in this process.
CORVID_API long ControlWordApplications();

/// A function that decides about a math-library error.
/// @param module path of the module that reports
/// @param e      the error; writing to its `retval` changes what the function returns
/// @return non-zero if the error is handled
using MathErrorHandler = int (*)(const char* module, _exception* e);

/// Chooses the function that decides about math-library errors.
/// @param handler null: an error is traced in one line and not handled, which is the default
CORVID_API void SetMathErrorHandler(MathErrorHandler handler);

// ---- Memory. The blocks of all Corvid_ functions are counted, and so are the characters of each Text that
// is not empty. The texts of the string table are the host's own: they are not counted and do not fail on
// request. A request for 0 bytes gets a block of its own; one for a tebibyte or more is refused.

/// Returns the number of blocks that are allocated and not yet freed.
CORVID_API std::int64_t LiveBlocks();
/// Returns the bytes of these blocks, as requested.
CORVID_API std::int64_t LiveBytes();
/// Returns the number of requests served so far, reallocations included.
CORVID_API std::int64_t TotalAllocations();
/// Returns the number of requests answered with null so far, for any reason.
CORVID_API std::int64_t RefusedAllocations();
/// Returns the most live bytes since the last ResetPeakBytes, 0 before the first.
CORVID_API std::int64_t PeakBytes();
/// Sets the peak to the present live bytes. From the first call on each block that is counted costs more
/// time.
CORVID_API void ResetPeakBytes();

/// Makes the n-th request from now fail, where the next one has number 1, and no other.
CORVID_API void FailAllocation(std::int64_t n);
/// Makes the n-th request from now and all later ones fail.
CORVID_API void FailAllocationsFrom(std::int64_t n);
/// Ends FailAllocation and FailAllocationsFrom.
CORVID_API void StopFailing();

/// Refuses requests for more than `bytes` bytes from now on, as a guard against a wrong count. 0 refuses only
/// those for a tebibyte or more, which is the default.
CORVID_API void LimitBlockBytes(std::size_t bytes);

/// Refuses requests that would bring the live bytes above `bytes` from now on: a guard against many wrong
/// counts, each of which LimitBlockBytes would let pass. Threads that allocate at the same time may overshoot
/// by one block each. 0 or less sets no limit, which is the default.
CORVID_API void LimitLiveBytes(std::int64_t bytes);

// ---- Text files.

/// Returns the number of text files that have been closed so far after a write failed. The contract's
/// operations do not report it.
CORVID_API std::int64_t IncompleteTextFiles();

// ---- Files of chunks, in the format of docs/file-format.md.

/// Four characters that say what a chunk contains; the first is the lowest byte.
using ChunkTag = std::uint32_t;

/// Returns the tag of four characters, as in MakeChunkTag("TABL")
constexpr ChunkTag MakeChunkTag(const char (&text)[5]) {
  ChunkTag tag = 0;
  for (int i = 3; i >= 0; --i) tag = tag << 8 | static_cast<unsigned char>(text[i]);
  return tag;
}

/// The tag of a chunk for which no tag was chosen.
constexpr ChunkTag kPlainChunk = MakeChunkTag("DATA");

/// What the head of a chunk says.
struct ChunkInfo {
  ChunkTag tag;         ///< what the chunk contains
  short version;        ///< version of its layout
  std::uint32_t bytes;  ///< length of the body, nested chunks included
};

/// The host's BinaryFile: a file on disk, shorter than 4 GiB, which is kept in memory of the allocator while
/// it is open. One thread at a time may use an object.
///
/// To write: Create; for each chunk SetNextTag and ChunkHeader::Create; Commit.
/// To read: Open; NextChunk to see which chunk follows; ChunkHeader::Open to enter it, or SkipChunk.
class CORVID_API ChunkFile : public BinaryFile {
 public:
  /// How deep chunks may nest, the outermost one included.
  static constexpr int kDeepest = 32;

  /// Makes a file that is not open.
  ChunkFile();
  /// Closes the file as Close does.
  ~ChunkFile() override;

  /// Begins a new file. Nothing on disk changes until Commit.
  bool Create(const char* path);
  /// Writes the file in place of the old one, whose permissions it keeps, and closes.
  /// @return true; false, and the old file stays, if the system reports an error, a chunk is open, or any
  ///         operation has failed since Create
  bool Commit();
  /// Reads a file and checks all of it.
  /// @return true; false if the file does not exist, is damaged, or is not a file of chunks
  bool Open(const char* path);
  /// Closes the file and discards what was not committed.
  void Close();

  /// Chooses the tag of the next chunk that is created; later ones have kPlainChunk again.
  void SetNextTag(ChunkTag tag);
  /// Reads the head of the chunk that comes next, without entering it.
  /// @param info may be null; unchanged if the result is false
  /// @return whether a chunk comes next; false if a number follows, or the open chunk or the file ends
  bool NextChunk(ChunkInfo* info) const;
  /// Skips the chunk that comes next.
  /// @return false if no chunk comes next
  bool SkipChunk();

  /// Returns a text for the first failure since Create or Open, to be written after the file's name; "" if
  /// nothing has failed.
  const char* ErrorText() const;

  unsigned char ReadDouble(double* value) override;
  unsigned char ReadInt(int* value) override;
  unsigned char WriteDouble(double value) override;
  unsigned char WriteInt(int value) override;

 private:
  friend class ::ChunkHeader;
  enum class Mode { kClosed, kWriting, kReading };
  struct Body {
    std::size_t begin;
    std::size_t end;  ///< only used when reading
  };

  unsigned char Fail(const char* why);
  bool Is(Mode mode);
  bool Append(const unsigned char* data, std::size_t count);
  bool Write(const unsigned char* number, std::size_t count);
  const unsigned char* Read(const void* target, std::size_t count);
  std::size_t End() const;
  const char* CheckAll() const;
  unsigned char BeginChunk(short version);
  unsigned char EnterChunk(short* version);
  unsigned char EndChunk(int depth);

  Mode mode_ = Mode::kClosed;
  Text path_;
  unsigned char* bytes_ = nullptr;  // contents of the file
  std::size_t size_ = 0;
  std::size_t room_ = 0;
  std::size_t at_ = 0;  // position of the next read
  Body open_[kDeepest];
  int depth_ = 0;
  ChunkTag nextTag_ = kPlainChunk;
  const char* error_ = nullptr;
};

}  // namespace corvid_host
