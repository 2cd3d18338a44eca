#pragma once

#include <cstdint>
#include <cstring>

namespace proof {

/// The hash FNV-1a of numbers, word by word.
class Digest {
 public:
  void add(double value) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    hash_ = (hash_ ^ bits) * 0x100000001B3u;
  }
  template <class List>
  void add_all(const List& values) {
    for (const double value : values) add(value);
  }
  std::uint64_t value() const { return hash_; }

 private:
  std::uint64_t hash_ = 0xCBF29CE484222325u;
};

}  // namespace proof
