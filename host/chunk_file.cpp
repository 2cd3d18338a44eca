// ChunkFile, and the operations of ChunkHeader on it. The whole file is kept in memory: it is written by
// Commit, and read and checked by Open. Lengths are in bytes:
//
//   file    head, chunk, chunk, ...
//   head    [ 8 signature | 4 format | 4 length of the file | 4 checksum of these ]
//   chunk   [ 4 tag | 4 version | 4 length of the body | 4 checksum of these ] body [ 4 checksum of the body
//   ] body    numbers and chunks, in the order in which they were written
//
// The lengths have a checksum of their own, so a wrong one is found before it is used.
//
// Always true while a file is open:
//  1. bytes_ holds size_ bytes, in a block of room_ bytes if the file is written;
//  2. open_[0 .. depth_ - 1] are the bodies of the open chunks, each inside the one before it;
//  3. when reading, at_ <= End() and everything up to size_ has passed CheckAll;
//  4. error_ is the first failure since Create or Open; after it nothing is appended.

#include <cstring>

#include "host/checksum.h"
#include "host/corvid_host.h"
#include "host/little_endian.h"
#include "host/platform.h"

namespace corvid_host {
namespace {

// The signature has both line ends and an end-of-text character, so that a transfer as text damages it
// visibly.
constexpr unsigned char kSignature[] = {0x89, 'C', 'V', 'F', '\r', '\n', 0x1A, '\n'};
constexpr std::uint32_t kFormat = 1;
constexpr std::size_t kSum = 4;

// Places in the head of the file, and its length.
constexpr std::size_t kFormatAt = sizeof kSignature;
constexpr std::size_t kLengthAt = kFormatAt + 4;
constexpr std::size_t kFileSumAt = kLengthAt + 4;
constexpr std::size_t kFileHead = kFileSumAt + kSum;

// Places in the head of a chunk, and its length.
constexpr std::size_t kTagAt = 0;
constexpr std::size_t kVersionAt = kTagAt + 4;
constexpr std::size_t kBytesAt = kVersionAt + 4;
constexpr std::size_t kChunkSumAt = kBytesAt + 4;
constexpr std::size_t kChunkHead = kChunkSumAt + kSum;

constexpr std::size_t kMostBytes = UINT32_MAX;
constexpr std::size_t kFirstRoom = 512;

constexpr const char* kNoMemory = "no memory is left";
constexpr const char* kCutShort = "the file is cut short";
constexpr const char* kDamagedHead = "the head of a chunk is damaged";
constexpr const char* kDamagedBody = "a chunk is damaged";

/// Writes the checksum of the `count` bytes from `begin` right behind them.
void put_sum(unsigned char* begin, std::size_t count) {
  put_little_endian(begin + count, checksum(begin, count));
}

bool sum_holds(const unsigned char* begin, std::size_t count) {
  return get_little_endian<std::uint32_t>(begin + count) == checksum(begin, count);
}

void put_file_head(unsigned char* at, std::size_t length) {
  std::memcpy(at, kSignature, sizeof kSignature);
  put_little_endian(at + kFormatAt, kFormat);
  put_little_endian(at + kLengthAt, static_cast<std::uint32_t>(length));
  put_sum(at, kFileSumAt);
}

/// Checks the head of a file of `count` bytes.
/// @return null, or what is wrong
const char* check_file_head(const unsigned char* at, std::size_t count) {
  if (count < kFileHead) return kCutShort;
  if (std::memcmp(at, kSignature, sizeof kSignature) != 0) return "it is not a file of chunks";
  if (!sum_holds(at, kFileSumAt)) return "the head of the file is damaged";
  if (get_little_endian<std::uint32_t>(at + kFormatAt) != kFormat) return "its format is unknown";
  const std::size_t length = get_little_endian<std::uint32_t>(at + kLengthAt);
  if (count < length) return kCutShort;
  return count > length ? "something stands behind the end of the file" : nullptr;
}

/// Writes the length of the body and the checksum to the head of a chunk, which has its tag and version.
void put_chunk_bytes(unsigned char* head, std::size_t bytes) {
  put_little_endian(head + kBytesAt, static_cast<std::uint32_t>(bytes));
  put_sum(head, kChunkSumAt);
}

/// Reads the head of a chunk and checks that the chunk ends within `count` bytes.
/// @return null, or what is wrong
const char* get_chunk_head(const unsigned char* at, std::size_t count, ChunkInfo* info) {
  if (count < kChunkHead + kSum) return kCutShort;
  const std::uint32_t bytes = get_little_endian<std::uint32_t>(at + kBytesAt);
  if (!sum_holds(at, kChunkSumAt) || bytes > count - kChunkHead - kSum) return kDamagedHead;
  info->tag = get_little_endian<ChunkTag>(at + kTagAt);
  info->version = static_cast<short>(get_little_endian<std::uint32_t>(at + kVersionAt));
  info->bytes = bytes;
  return nullptr;
}

std::size_t whole_chunk(const ChunkInfo& info) { return kChunkHead + info.bytes + kSum; }

}  // namespace

ChunkFile::ChunkFile() = default;
ChunkFile::~ChunkFile() { Close(); }

// ---- The file.

bool ChunkFile::Create(const char* path) {
  Close();
  error_ = nullptr;
  mode_ = Mode::kWriting;
  path_ = Text(path);
  if (!path || *path == '\0') return Fail("it has no name");
  if (path_.Length() == 0) return Fail(kNoMemory);
  const unsigned char head[kFileHead] = {};  // filled in by Commit
  return Append(head, sizeof head);
}

bool ChunkFile::Commit() {
  if (Is(Mode::kWriting) && depth_ > 0) Fail("a chunk was not ended");
  if (!error_) {
    put_file_head(bytes_, size_);
    error_ = replace_file(path_.Characters(), bytes_, size_);
  }
  Close();
  return !error_;
}

bool ChunkFile::Open(const char* path) {
  Close();
  error_ = read_whole_file(path ? path : "", kMostBytes, &bytes_, &size_);
  if (!error_) error_ = CheckAll();
  if (error_) {
    Close();
    return false;
  }
  mode_ = Mode::kReading;
  at_ = kFileHead;
  return true;
}

void ChunkFile::Close() {
  Corvid_free(bytes_);
  bytes_ = nullptr;
  size_ = room_ = at_ = 0;
  depth_ = 0;
  path_ = Text();
  nextTag_ = kPlainChunk;
  mode_ = Mode::kClosed;
}

/// Checks the head of the file and, for each outermost chunk, head, length and body.
/// @return null, or what is wrong
const char* ChunkFile::CheckAll() const {
  if (const char* const why = check_file_head(bytes_, size_)) return why;
  ChunkInfo info;
  for (std::size_t at = kFileHead; at < size_; at += whole_chunk(info)) {
    if (const char* const why = get_chunk_head(bytes_ + at, size_ - at, &info)) return why;
    if (!sum_holds(bytes_ + at + kChunkHead, info.bytes)) return kDamagedBody;
  }
  return nullptr;
}

const char* ChunkFile::ErrorText() const { return error_ ? error_ : ""; }

unsigned char ChunkFile::Fail(const char* why) {
  if (!error_) error_ = why;
  return 0;
}

bool ChunkFile::Is(Mode mode) {
  if (mode_ == mode) return true;
  Fail(mode == Mode::kWriting ? "it is not open for writing" : "it is not open for reading");
  return false;
}

// ---- Chunks.

/// Returns the end of the innermost open chunk, or of the file if none is open.
std::size_t ChunkFile::End() const { return depth_ > 0 ? open_[depth_ - 1].end : size_; }

void ChunkFile::SetNextTag(ChunkTag tag) { nextTag_ = tag; }

bool ChunkFile::NextChunk(ChunkInfo* info) const {
  ChunkInfo found;
  if (mode_ != Mode::kReading || get_chunk_head(bytes_ + at_, End() - at_, &found)) return false;
  if (info) *info = found;
  return true;
}

bool ChunkFile::SkipChunk() {
  ChunkInfo info;
  if (!NextChunk(&info)) return Fail("no chunk is there to be passed over");
  at_ += whole_chunk(info);
  return true;
}

unsigned char ChunkFile::BeginChunk(short version) {
  if (!Is(Mode::kWriting)) return 0;
  if (depth_ == kDeepest) return Fail("chunks lie too deep in each other");
  unsigned char head[kChunkHead] = {};  // completed by EndChunk
  put_little_endian(head + kTagAt, nextTag_);
  put_little_endian(head + kVersionAt, static_cast<std::uint32_t>(version));
  if (!Append(head, sizeof head)) return 0;
  nextTag_ = kPlainChunk;
  open_[depth_++] = {size_, 0};
  return 1;
}

unsigned char ChunkFile::EnterChunk(short* version) {
  if (!Is(Mode::kReading)) return 0;
  if (depth_ == kDeepest) return Fail("chunks lie too deep in each other");
  ChunkInfo info;
  if (!NextChunk(&info)) return Fail("a chunk is missing");
  if (!sum_holds(bytes_ + at_ + kChunkHead, info.bytes)) return Fail(kDamagedBody);
  *version = info.version;
  at_ += kChunkHead;
  open_[depth_++] = {at_, at_ + info.bytes};
  return 1;
}

unsigned char ChunkFile::EndChunk(int depth) {
  if (depth == 0 || depth != depth_) return Fail("a chunk was ended out of turn");
  const Body body = open_[depth_ - 1];
  if (mode_ == Mode::kReading) {
    at_ = body.end + kSum;
  } else {
    const std::size_t length = size_ - body.begin;
    unsigned char sum[kSum];
    put_little_endian(sum, checksum(bytes_ + body.begin, length));
    if (!Append(sum, sizeof sum)) return 0;
    put_chunk_bytes(bytes_ + body.begin - kChunkHead, length);
  }
  --depth_;
  return 1;
}

// ---- Numbers.

bool ChunkFile::Append(const unsigned char* data, std::size_t count) {
  if (error_) return false;
  if (count > kMostBytes - size_) return Fail("the file would be too long");
  if (count > room_ - size_) {
    const std::size_t room = room_ == 0 ? kFirstRoom : 2 * room_;
    void* const moved = Corvid_realloc(bytes_, room);
    if (!moved) return Fail(kNoMemory);
    bytes_ = static_cast<unsigned char*>(moved);
    room_ = room;
  }
  std::memcpy(bytes_ + size_, data, count);
  size_ += count;
  return true;
}

bool ChunkFile::Write(const unsigned char* number, std::size_t count) {
  if (!Is(Mode::kWriting)) return false;
  if (depth_ == 0) return Fail("a number stands in no chunk");
  return Append(number, count);
}

/// Returns the address of the next `count` bytes and moves behind them; null if `target` is null or the chunk
/// ends before.
const unsigned char* ChunkFile::Read(const void* target, std::size_t count) {
  if (!target || !Is(Mode::kReading)) return nullptr;
  if (depth_ == 0 || End() - at_ < count) {
    Fail("a chunk holds less than was asked of it");
    return nullptr;
  }
  at_ += count;
  return bytes_ + at_ - count;
}

unsigned char ChunkFile::WriteInt(int value) {
  unsigned char number[4];
  put_little_endian(number, static_cast<std::uint32_t>(value));
  return Write(number, sizeof number);
}

unsigned char ChunkFile::WriteDouble(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  unsigned char number[8];
  put_little_endian(number, bits);
  return Write(number, sizeof number);
}

unsigned char ChunkFile::ReadInt(int* value) {
  const unsigned char* const number = Read(value, 4);
  if (!number) return 0;
  *value = static_cast<int>(get_little_endian<std::uint32_t>(number));
  return 1;
}

unsigned char ChunkFile::ReadDouble(double* value) {
  const unsigned char* const number = Read(value, 8);
  if (!number) return 0;
  const std::uint64_t bits = get_little_endian<std::uint64_t>(number);
  std::memcpy(value, &bits, sizeof bits);
  return 1;
}

}  // namespace corvid_host

// ---- The contract's classes.

using corvid_host::ChunkFile;

BinaryFile::~BinaryFile() = default;

static_assert(ChunkFile::kDeepest <= UINT8_MAX, "a chunk header holds a depth in a byte");

unsigned char ChunkHeader::Create(BinaryFile& file, short version) {
  ChunkFile* const chunks = dynamic_cast<ChunkFile*>(&file);
  if (!chunks || !chunks->BeginChunk(version)) return 0;
  version_ = version;
  depth_ = static_cast<unsigned char>(chunks->depth_);
  return 1;
}

unsigned char ChunkHeader::Open(BinaryFile& file) {
  ChunkFile* const chunks = dynamic_cast<ChunkFile*>(&file);
  if (!chunks || !chunks->EnterChunk(&version_)) return 0;
  depth_ = static_cast<unsigned char>(chunks->depth_);
  return 1;
}

unsigned char ChunkHeader::Close(BinaryFile& file) {
  ChunkFile* const chunks = dynamic_cast<ChunkFile*>(&file);
  if (!chunks || !chunks->EndChunk(depth_)) return 0;
  depth_ = 0;
  return 1;
}
