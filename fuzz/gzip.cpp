// The reader of inputs that gzip has compressed: texts in one or several members, whole, cut or altered.

#include <zlib.h>

#include <string>

#include "apps/common/input.h"
#include "fuzz/new_folder.h"
#include "fuzz/reader.h"

namespace {

using fuzz::Bytes, fuzz::require;

/// Returns a member of a gzip file with this text.
std::string compressed(const std::string& text, int level) {
  constexpr int kLargestWindow = 15, kGzip = 16, kMostMemory = 9;
  z_stream stream = {};
  require(deflateInit2(&stream, level, Z_DEFLATED, kLargestWindow + kGzip, kMostMemory, Z_DEFAULT_STRATEGY) ==
              Z_OK,
          "zlib can compress");
  constexpr uLong kMore = 64;  // without compression the bound of zlib 1.2.13 is a few bytes short
  std::string member(deflateBound(&stream, static_cast<uLong>(text.size())) + kMore, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(member.data());
  stream.avail_out = static_cast<uInt>(member.size());
  require(deflate(&stream, Z_FINISH) == Z_STREAM_END, "the room suffices");
  member.resize(member.size() - stream.avail_out);
  deflateEnd(&stream);
  return member;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = fuzz::own_folder() + "/input";
  Bytes bytes(data, size);
  const int kind = bytes.below(4), members = bytes.between(1, 3), level = bytes.below(10);
  const int at = bytes.below(65536), change = bytes.byte();
  const std::string text = bytes.rest();
  std::string file, whole;
  for (int k = 0; k < members; ++k) file += compressed(text, level), whole += text;
  if (kind == 0) {
    file = "\x1f\x8b" + text;  // a beginning alone
  } else if (kind == 1) {
    file.resize(static_cast<std::size_t>(at) % file.size());
  } else if (kind == 2) {
    file[static_cast<std::size_t>(at) % file.size()] ^= static_cast<char>(change);
  }
  fuzz::write_file(path, file);
  const auto read = fuzz::read_or_complaint(path, [] { return apps::read_input(path); });
  if (kind == 3) {
    constexpr const char* kByteOrderMark = "\xef\xbb\xbf";
    if (whole.rfind(kByteOrderMark, 0) == 0) whole.erase(0, 3);
    require(read && *read == whole, "a whole file gives its text back");
  }
  return 0;
}
