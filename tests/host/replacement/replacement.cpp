// A host support library in the least code that serves libcorvidnum.so: memory of the C library, texts
// without characters, no lines, no files. It counts what it serves.

#include <cstdlib>

#include "frame/corvid.h"

namespace {

long blocks = 0;
long control_words = 0;

}  // namespace

extern "C" {

// How the host program recognises this library, and what it has served.
CORVID_API long Corvid_replacement_blocks() { return blocks; }
CORVID_API long Corvid_replacement_control_words() { return control_words; }

void* Corvid_new(std::size_t bytes) {
  ++blocks;
  return std::malloc(bytes);
}
void Corvid_delete(void* block) { std::free(block); }
}

Text::Text() : characters_(nullptr), length_(0) {}
Text::Text(const char*) : Text() {}
Text::Text(const Text&) : Text() {}
Text::~Text() = default;
const char* Text::Characters() const { return ""; }

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

void TextFile::Write(const Text&, int) {}
unsigned char ChunkHeader::Create(BinaryFile&, short) { return 0; }
unsigned char ChunkHeader::Open(BinaryFile&) { return 0; }
unsigned char ChunkHeader::Close(BinaryFile&) { return 0; }
