#pragma once

// How a host program sets up and watches this open host support library. The numerics library knows nothing
// of it: all that the library imports stands in frame/corvid.h. Every function may be called by any thread.

#include <cstddef>
#include <cstdint>

#include "frame/corvid.h"

namespace corvid_host {

// ---- Lines. Everything that the library or the host itself says comes out as one line at a sink.

enum class LineKind : int {
  kTrace = 0,  // from Trace
  kError = 1,  // from ErrorMsg
};

/// Takes a line, which ends with zero, without a line end, and lasts until the sink returns.
/// One line at a time, whatever the threads do. A sink may itself trace, or choose another sink.
using LineSink = void (*)(void* context, LineKind kind, const char* line);

/// Chooses where lines go from now on. Once it returns, the former sink is not called any more.
/// @param sink    null: the standard error stream again, where an error line begins with "error: "
/// @param context handed to the sink as it is; stays the caller's
CORVID_API void SetLineSink(LineSink sink, void* context = nullptr);

// ---- The string table. It begins with the seven texts that the library asks for.

/// Files a text under a key, or replaces the one that is there. Both are copied; texts that FindString
/// handed out before stay as they were.
/// @param text a printf format for the arguments that come with the key
/// @return false, and nothing is filed: null, exhausted memory, or a text for one of the library's keys that
///         asks for anything but the whole numbers (%d) that the library passes with that key
CORVID_API bool SetString(const char* key, const char* text);

// ---- The application.

/// @param handle what AppInstance() answers; null: the load address of the program, as in the beginning
CORVID_API void SetAppInstance(ModuleHandle handle);

/// Takes the arguments of ShowSplashScreen.
using SplashHandler = void (*)(unsigned char show, unsigned char flag);

/// @param handler null: a splash screen is not shown, as in the beginning
CORVID_API void SetSplashHandler(SplashHandler handler);

// ---- Floating point.

/// What the host's control word decides.
struct FloatControl {
  int rounding;  // FE_TONEAREST, FE_UPWARD, FE_DOWNWARD or FE_TOWARDZERO of <cfenv>
  int traps;     // FE_INVALID, FE_DIVBYZERO, ...: the exceptions that trap; all others are masked
};

/// Chooses what FPEnvironment::SetControlWord applies from now on; no thread changes its state by this call.
/// In the beginning: round to nearest, all traps masked.
/// @return false, and nothing changes, if <cfenv> does not know a rounding or trap
CORVID_API bool SetFloatControl(FloatControl control);

/// How often SetControlWord was applied in this process.
CORVID_API long ControlWordApplications();

/// Decides about a math-library error.
/// @param module path of the module that reports
/// @param e      the error; writing to its `retval` changes what the function returns
/// @return non-zero: handled
using MathErrorHandler = int (*)(const char* module, _exception* e);

/// @param handler null: an error is traced in one line and not handled, as in the beginning
CORVID_API void SetMathErrorHandler(MathErrorHandler handler);

// ---- Memory. Counted are the blocks of all Corvid_ functions and so the characters of each Text that is
// not empty. The texts of the string table are the host's own: neither counted nor made to fail.
// A request for 0 bytes gets a block of its own; one for a tebibyte or more is refused.

/// Blocks handed out and not given back.
CORVID_API std::int64_t LiveBlocks();
/// Their bytes, as asked for.
CORVID_API std::int64_t LiveBytes();
/// Requests served so far, changes of size included.
CORVID_API std::int64_t TotalAllocations();
/// Requests answered with null so far, for whatever reason.
CORVID_API std::int64_t RefusedAllocations();
/// The most live bytes since the start or the last ResetPeakBytes.
CORVID_API std::int64_t PeakBytes();
/// The peak begins anew at the live bytes of now.
CORVID_API void ResetPeakBytes();

/// The n-th request from now, the next being 1, is answered with null; no other is.
CORVID_API void FailAllocation(std::int64_t n);
/// The n-th request from now and all that follow are answered with null.
CORVID_API void FailAllocationsFrom(std::int64_t n);
/// Ends both.
CORVID_API void StopFailing();

/// Requests for more than `bytes` bytes are refused from now on, as a guard against a count that went wrong.
/// 0: none but those for a tebibyte or more, as in the beginning.
CORVID_API void LimitBlockBytes(std::size_t bytes);

/// Requests that would bring the live bytes above `bytes` are refused from now on: a guard against many
/// counts that went wrong, each of which LimitBlockBytes would pass. Threads that ask at the same time may
/// overshoot by a block each. 0 or less: no limit, as in the beginning.
CORVID_API void LimitLiveBytes(std::int64_t bytes);

// ---- Text files.

/// Text files that were closed so far although not all that was written to them had reached the system. The
/// contract's operations do not tell.
CORVID_API std::int64_t IncompleteTextFiles();

// ---- Files of chunks, in the format of docs/file-format.md.

/// Says what a chunk holds, in four characters; the first is the lowest byte.
using ChunkTag = std::uint32_t;

/// @param text four characters, as in MakeChunkTag("TABL")
constexpr ChunkTag MakeChunkTag(const char (&text)[5]) {
  ChunkTag tag = 0;
  for (int i = 3; i >= 0; --i) tag = tag << 8 | static_cast<unsigned char>(text[i]);
  return tag;
}

/// The tag of a chunk for which none was chosen.
constexpr ChunkTag kPlainChunk = MakeChunkTag("DATA");

/// What stands in front of a chunk.
struct ChunkInfo {
  ChunkTag tag;
  short version;
  std::uint32_t bytes;  // of what it holds, nested chunks included
};

/// The host's BinaryFile: a file on disk that is held in memory of the allocator while it is open, and stays
/// below 4 GiB. An object is for one thread at a time.
///
/// To write: Create; for each chunk SetNextTag and ChunkHeader::Create; Commit.
/// To read: Open; NextChunk to see what is there; ChunkHeader::Open to enter it, or SkipChunk.
class CORVID_API ChunkFile : public BinaryFile {
 public:
  /// Chunks within each other, the outermost one included.
  static constexpr int kDeepest = 32;

  ChunkFile();
  ~ChunkFile() override;  // as Close

  /// Begins a new file. The disk stays as it is until Commit.
  bool Create(const char* path);
  /// Puts the complete file in the place of the old one, whose permissions it keeps, and closes.
  /// @return false, and the old file stays: the disk refuses, a chunk is open, or any operation has failed
  ///         since Create
  bool Commit();
  /// Reads a file and checks all of it.
  /// @return false: the file is not there, is damaged, or is none of chunks
  bool Open(const char* path);
  /// What was not committed is dropped.
  void Close();

  /// Chooses the tag of the next chunk that is created; the ones after it are kPlainChunk again.
  void SetNextTag(ChunkTag tag);
  /// Looks at the chunk that begins at the place reached.
  /// @param info left alone if there is none
  /// @return false: a number stands there, or the open chunk or the file ends
  bool NextChunk(ChunkInfo* info) const;
  /// Passes over the chunk that begins at the place reached.
  /// @return false: none does
  bool SkipChunk();

  /// What failed first since Create or Open, to be put behind the file's name; "" if nothing did.
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
    std::size_t end;  // while reading
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
  unsigned char* bytes_ = nullptr;  // the file
  std::size_t size_ = 0;
  std::size_t room_ = 0;
  std::size_t at_ = 0;  // reached while reading
  Body open_[kDeepest];
  int depth_ = 0;
  ChunkTag nextTag_ = kPlainChunk;
  const char* error_ = nullptr;
};

}  // namespace corvid_host
