// GenericFile and TextFile on the C library's streams. A file is named name + "." + extension. If either is
// empty, as it also is after exhausted memory, the file does not exist and does not open.

#include <atomic>
#include <cstdint>
#include <cstdio>

#include "host/corvid_host.h"
#include "host/platform.h"

using corvid_host::StreamMode;

namespace {

std::atomic<std::int64_t> incomplete_files{0};

Text path_of(const Text& name, const Text& extension) {
  if (name.Length() == 0 || extension.Length() == 0) return Text();
  return FormattedText("%s.%s", name.Characters(), extension.Characters());
}

std::FILE* open_stream(const Text& path, StreamMode mode) {
  return corvid_host::open_stream(path.Characters(), mode);
}

std::FILE* as_file(void* stream) { return static_cast<std::FILE*>(stream); }

}  // namespace

std::int64_t corvid_host::IncompleteTextFiles() { return incomplete_files; }

GenericFile::GenericFile(const Text& name, const Text& extension)
    : name_(name), extension_(extension), stream_(nullptr) {}

GenericFile::~GenericFile() { GenericFile::Close(); }

unsigned char GenericFile::Exists(unsigned char) const {
  return corvid_host::file_exists(path_of(name_, extension_).Characters());
}

unsigned char GenericFile::Open(unsigned char append) {
  Close();
  stream_ = open_stream(path_of(name_, extension_), append ? StreamMode::kAppend : StreamMode::kExisting);
  return stream_ != nullptr;
}

unsigned char GenericFile::Create() {
  Close();
  stream_ = open_stream(path_of(name_, extension_), StreamMode::kEmpty);
  return stream_ != nullptr;
}

void GenericFile::Close() {
  if (stream_) {
    const bool failed = std::ferror(as_file(stream_)) != 0;
    if ((std::fclose(as_file(stream_)) != 0) | failed) ++incomplete_files;
  }
  stream_ = nullptr;
}

TextFile::TextFile(const Text& name, const Text& extension) : GenericFile(name, extension) {}

TextFile::~TextFile() = default;

void TextFile::Write(char character) {
  if (stream_) std::fputc(character, as_file(stream_));
}

void TextFile::Write(const Text& text, int) {
  if (stream_) std::fwrite(text.Characters(), 1, text.Length(), as_file(stream_));
}
