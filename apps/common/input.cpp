#include "apps/common/input.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "apps/common/platform.h"
#include "apps/common/toml_reader.h"

namespace apps {
namespace {

constexpr std::string_view kGzipMagic = "\x1f\x8b", kByteOrderMark = "\xef\xbb\xbf";
constexpr std::size_t kBlock = 65536;

bool begins_with(std::string_view text, std::string_view with) { return text.substr(0, with.size()) == with; }

/// Returns all bytes of a file or of standard input.
std::string read_bytes(const std::string& path) {
  const auto fail = [&] { return BadCase(fmt::format("{}: {}", input_name(path), std::strerror(errno))); };
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(nullptr, std::fclose);
  if (!is_standard_stream(path)) {
    opened.reset(platform::open_to_read(path));
    if (!opened) throw fail();
  }
  std::FILE* const file = opened ? opened.get() : stdin;
  std::string bytes;
  char block[kBlock];
  while (const std::size_t count = std::fread(block, 1, sizeof block, file)) bytes.append(block, count);
  if (std::ferror(file)) throw fail();  // a directory opens, but reading it fails
  return bytes;
}

/// Inflates the members of a gzip file, one after the other.
class Inflater {
 public:
  explicit Inflater(std::string_view bytes) : left_(bytes) {
    constexpr int kLargestWindow = 15, kGzipOnly = 16;
    if (inflateInit2(&stream_, kLargestWindow + kGzipOnly) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() { inflateEnd(&stream_); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  /// Returns the text.
  /// @param fault  out: why the bytes are not a whole gzip file; null if they are
  std::string inflate_all(const char*& fault) {
    std::string text;
    fault = nullptr;
    while (!fault && !left_.empty()) {
      fault = inflate_member(text);
      inflateReset(&stream_);
    }
    return text;
  }

 private:
  const char* inflate_member(std::string& text) {
    unsigned char block[kBlock];
    for (int status = Z_OK; status != Z_STREAM_END;) {
      const std::size_t given = std::min<std::size_t>(left_.size(), std::numeric_limits<uInt>::max());
      // zlib does not write to its input, though it takes no pointer to const in its own default settings.
      stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(left_.data()));
      stream_.avail_in = static_cast<uInt>(given);
      stream_.next_out = block;
      stream_.avail_out = sizeof block;
      status = inflate(&stream_, Z_NO_FLUSH);
      if (status == Z_MEM_ERROR) throw std::bad_alloc();
      const std::size_t made = sizeof block - stream_.avail_out;
      text.append(reinterpret_cast<const char*>(block), made);
      left_.remove_prefix(given - stream_.avail_in);
      if (status == Z_BUF_ERROR || (status == Z_OK && left_.empty() && made == 0))
        return "the compressed text is cut short";
      if (status != Z_OK && status != Z_STREAM_END) return "the compressed text is damaged";
    }
    return nullptr;
  }

  z_stream stream_ = {};
  std::string_view left_;  // bytes that are not inflated yet
};

}  // namespace

std::string read_input(const std::string& path) {
  std::string text = read_bytes(path);
  if (begins_with(text, kGzipMagic)) {
    const char* fault = nullptr;
    text = Inflater(text).inflate_all(fault);
    if (fault) throw BadCase(fmt::format("{}: {}", input_name(path), fault));
  }
  if (begins_with(text, kByteOrderMark)) text.erase(0, kByteOrderMark.size());
  return text;
}

}  // namespace apps
