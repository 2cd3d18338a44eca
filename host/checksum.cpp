// CRC-32, one byte at a time with a table of remainders that the compiler computes.

#include "host/checksum.h"

#include <array>

namespace corvid_host {
namespace {

constexpr std::uint32_t kReflectedPolynomial = 0xEDB88320;

/// Returns the remainder of each byte value after division by the polynomial.
constexpr std::array<std::uint32_t, 256> make_remainders() {
  std::array<std::uint32_t, 256> remainders{};
  for (std::uint32_t value = 0; value < 256; ++value) {
    std::uint32_t remainder = value;
    for (int bit = 0; bit < 8; ++bit) {
      remainder = remainder >> 1 ^ (remainder & 1 ? kReflectedPolynomial : 0);
    }
    remainders[value] = remainder;
  }
  return remainders;
}

constexpr std::array<std::uint32_t, 256> kRemainders = make_remainders();

}  // namespace

std::uint32_t checksum(const unsigned char* bytes, std::size_t count) {
  std::uint32_t sum = UINT32_MAX;
  for (std::size_t i = 0; i < count; ++i) sum = sum >> 8 ^ kRemainders[(sum ^ bytes[i]) & 0xFF];
  return ~sum;
}

}  // namespace corvid_host
