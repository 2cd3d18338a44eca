// The reader of property files, from any bytes. Checksums would keep the fuzzer out, so those of every second
// input are made right first.

#include "apps/column/property_file.h"

#include <zlib.h>

#include "fuzz/new_folder.h"
#include "fuzz/reader.h"
#include "host/corvid_host.h"

namespace {

// See docs/file-format.md.
constexpr std::size_t kHead = 20, kChunkHead = 16, kChecksum = 4;
constexpr std::uint32_t kFormat = 1;

/// A file whose heads and checksums are put right.
class Forgery {
 public:
  explicit Forgery(std::string bytes) : bytes_(std::move(bytes)) {
    if (bytes_.size() < kHead) bytes_.resize(kHead);
    bytes_.replace(0, 8, "\x89\x43\x56\x46\x0d\x0a\x1a\x0a", 8);
    put(8, kFormat), put(12, static_cast<std::uint32_t>(bytes_.size())), put_checksum(16, 0, 16);
    // From back to front, because a chunk's checksum counts those inside it.
    for (std::size_t at = bytes_.size(); at-- > kHead;)
      if (at + kChunkHead + kChecksum <= bytes_.size() && is_tag(at)) seal(at);
  }
  const std::string& bytes() const { return bytes_; }

 private:
  bool is_tag(std::size_t at) const {
    return bytes_.compare(at, 4, "COMP") == 0 || bytes_.compare(at, 4, "DATA") == 0;
  }
  void seal(std::size_t at) {
    const std::size_t room = bytes_.size() - at - kChunkHead - kChecksum;
    std::size_t length = get(at + 8);
    if (length > room) put(at + 8, static_cast<std::uint32_t>(length = room));
    put_checksum(at + 12, at, 12);
    put_checksum(at + kChunkHead + length, at + kChunkHead, length);
  }
  std::uint32_t get(std::size_t at) const {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes_[at + i]);
    return value;
  }
  void put(std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) bytes_[at + i] = static_cast<char>(value >> 8 * i & 255);
  }
  void put_checksum(std::size_t at, std::size_t begin, std::size_t count) {
    put(at, static_cast<std::uint32_t>(
                crc32(0, reinterpret_cast<const Bytef*>(bytes_.data() + begin), static_cast<uInt>(count))));
  }

  std::string bytes_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::int64_t blocks = corvid_host::LiveBlocks();
  const std::string given(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::string path = fuzz::own_folder() + "/properties";
  fuzz::write_file(path, (data[0] & 1) != 0 ? Forgery(given).bytes() : given);
  {
    const auto tables = fuzz::read_or_complaint(path, [&] { return column::recall_tables(path); });
    if (tables && !tables->empty()) {
      const std::string copy = path + "-copy";
      fuzz::require(!column::store_tables(copy, *tables), "recalled tables are stored");
      const column::Tables again = column::recall_tables(copy);
      fuzz::require(again.size() == tables->size(), "stored tables are recalled");
      for (std::size_t i = 0; i < again.size(); ++i)
        fuzz::require(again[i]->same_as(*(*tables)[i]), "a table comes back as it was stored");
    }
  }
  fuzz::require(corvid_host::LiveBlocks() == blocks, "all memory is given back");
  return 0;
}
