// A host support library in the least code that fulfils the contract: memory cut from one store and never
// used again, texts without characters, no lines, no files.

#include <cstring>

#include "frame/corvid.h"

namespace {

constexpr std::size_t kUnit = alignof(std::max_align_t);
constexpr std::size_t kStoreBytes = 1 << 20;
alignas(kUnit) unsigned char store[kStoreBytes];
std::size_t used = 0;
long control_words = 0;

}  // namespace

extern "C" {

// How the host program recognises this library, and what it has served.
CORVID_API long Corvid_replacement_bytes() { return static_cast<long>(used); }
CORVID_API long Corvid_replacement_control_words() { return control_words; }

// A unit in front of each block holds its size.
void* Corvid_malloc(std::size_t bytes) {
  if (bytes > kStoreBytes) return nullptr;
  const std::size_t needed = kUnit + (bytes + kUnit - 1) / kUnit * kUnit;
  if (needed > kStoreBytes - used) return nullptr;
  unsigned char* const head = store + used;
  used += needed;
  std::memcpy(head, &bytes, sizeof bytes);
  return head + kUnit;
}

void* Corvid_new(std::size_t bytes) { return Corvid_malloc(bytes); }
void Corvid_delete(void*) {}
void Corvid_free(void*) {}

// The store is zero, and nothing in it is used twice.
void* Corvid_calloc(std::size_t count, std::size_t bytes) {
  return bytes != 0 && count > kStoreBytes / bytes ? nullptr : Corvid_malloc(count * bytes);
}

std::size_t Corvid__msize(void* block) {
  std::size_t bytes = 0;
  if (block) std::memcpy(&bytes, static_cast<unsigned char*>(block) - kUnit, sizeof bytes);
  return bytes;
}

void* Corvid_realloc(void* block, std::size_t bytes) {
  void* const moved = Corvid_malloc(bytes);
  const std::size_t kept = Corvid__msize(block);
  if (moved && block) std::memcpy(moved, block, kept < bytes ? kept : bytes);
  return moved;
}

char* Corvid_strdup(const char* text) {
  void* const copy = Corvid_malloc(std::strlen(text) + 1);
  return copy ? std::strcpy(static_cast<char*>(copy), text) : nullptr;
}
}

Text::Text() : characters_(nullptr), length_(0) {}
Text::Text(const char*) : Text() {}
Text::Text(const Text&) : Text() {}
Text& Text::operator=(const Text&) { return *this; }
Text::~Text() = default;
const char* Text::Characters() const { return ""; }
std::size_t Text::Length() const { return length_; }

Text FormattedText(const char*, ...) { return Text(); }
const Text& FindString(const char*) {
  static const Text empty;
  return empty;
}
void Trace(const Text&, unsigned char, ColourResource*) {}
void ErrorMsg(const char*, ...) {}

ModuleHandle AppInstance() { return nullptr; }
void ShowSplashScreen(unsigned char, unsigned char) {}

void FPEnvironment::SetControlWord() { ++control_words; }
FPEnvironment* pFPEnv() {
  static FPEnvironment environment;
  return &environment;
}
int Zumatherr(char*, _exception*) { return 0; }

GenericFile::GenericFile(const Text&, const Text&) : stream_(nullptr) {}
GenericFile::~GenericFile() = default;
unsigned char GenericFile::Exists(unsigned char) const { return 0; }
unsigned char GenericFile::Open(unsigned char) { return 0; }
unsigned char GenericFile::Create() { return 0; }
void GenericFile::Close() {}

TextFile::TextFile(const Text& name, const Text& extension) : GenericFile(name, extension) {}
TextFile::~TextFile() = default;
void TextFile::Write(char) {}
void TextFile::Write(const Text&, int) {}

BinaryFile::~BinaryFile() = default;
unsigned char ChunkHeader::Create(BinaryFile&, short) { return 0; }
unsigned char ChunkHeader::Open(BinaryFile&) { return 0; }
unsigned char ChunkHeader::Close(BinaryFile&) { return 0; }
