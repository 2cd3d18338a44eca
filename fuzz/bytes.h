#pragma once

// Turns the bytes of a fuzzer into choices and numbers. Whoever reads past the end gets zeros.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "frame/empty_value.h"

namespace fuzz {

/// Ends the run with a finding unless `holds`.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "FAULT: %s\n", what);
  std::abort();
}

class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}

  bool left() const { return at_ != end_; }
  std::uint8_t byte() { return left() ? *at_++ : std::uint8_t{0}; }
  bool flag() { return (byte() & 1) != 0; }
  /// Returns one of 0 .. count - 1, with count at most 65536.
  int below(int count) {
    int value = byte();
    if (count > 256) value = value << 8 | byte();
    return value % count;
  }
  int between(int lowest, int highest) { return lowest + below(highest - lowest + 1); }
  template <class T, std::size_t count>
  T one_of(const T (&choices)[count]) {
    return choices[below(static_cast<int>(count))];
  }

  /// Returns an integer of any magnitude, most often a small one.
  int integer() {
    const int kind = byte();
    if (kind < 192) return between(-8, 56);
    constexpr int kEdges[] = {
        std::numeric_limits<int>::min(),     std::numeric_limits<int>::min() + 1, -1,           0, 1,
        std::numeric_limits<int>::max() - 1, std::numeric_limits<int>::max(),     EmptyValueInt};
    if (kind < 224) return one_of(kEdges);
    return static_cast<int>(raw<std::uint32_t>());
  }

  /// Returns a double between -8 and 8 in magnitude that is 0 or at least 1/32.
  double tame_number() { return (byte() - 128) / (flag() ? 16.0 : 32.0); }
  /// Returns a double of any magnitude: most often a tame one, else a power of ten, zero of either sign,
  /// infinity, NaN, EmptyValue, a denormal number, or any bits.
  double number() {
    const int kind = byte();
    if (kind < 160) return tame_number();
    if (kind < 200) return (flag() ? 1.0 : -1.0) * std::pow(10.0, between(-160, 95) * 2.0);
    using limits = std::numeric_limits<double>;
    constexpr double kEdges[] = {0.0,
                                 -0.0,
                                 limits::infinity(),
                                 -limits::infinity(),
                                 limits::quiet_NaN(),
                                 EmptyValue,
                                 limits::denorm_min(),
                                 limits::min(),
                                 limits::max(),
                                 -limits::max(),
                                 limits::epsilon(),
                                 1.0,
                                 1e-8};
    if (kind < 240) return one_of(kEdges);
    const auto bits = raw<std::uint64_t>();
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  double number(bool tame) { return tame ? tame_number() : number(); }

  /// Returns all bytes that are left.
  std::string rest() {
    const std::string text(reinterpret_cast<const char*>(at_), static_cast<std::size_t>(end_ - at_));
    at_ = end_;
    return text;
  }

 private:
  template <class T>
  T raw() {
    T value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i) value = static_cast<T>(value << 8 | byte());
    return value;
  }

  const std::uint8_t *at_, *end_;
};

/// Plain pseudo-random numbers (Knuth's MMIX generator), for what need not come from the fuzzer one by one.
class Stream {
 public:
  explicit Stream(std::uint64_t seed) : state_(seed * 2 + 1) {}
  /// Returns a double between -1 and 1.
  double next() {
    state_ = state_ * 6364136223846793005u + 1442695040888963407u;
    return static_cast<double>(static_cast<std::int64_t>(state_) >> 11) / 4503599627370496.0;
  }
  /// Returns one of 0 .. count - 1.
  int below(int count) { return static_cast<int>((next() + 1) / 2 * count) % count; }
  /// Returns what a word may become that was `old`, most often something near the edge of a range.
  int altered(int old, int edge) {
    const int near = old > -1000000 && old < 1000000 ? old : 0;
    const int choices[] = {edge,     edge + 1, -near,     near + 1,
                           near - 1, 0,        below(64), std::numeric_limits<int>::max()};
    return choices[below(8)];
  }

 private:
  std::uint64_t state_;
};

/// Returns whether two doubles have the same bits.
inline bool same_bits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace fuzz
