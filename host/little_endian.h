#pragma once

// Reads and writes unsigned numbers with the lowest byte first, whatever the byte order of the machine.

#include <cstddef>

namespace corvid_host {

/// Writes the bytes of `number`, the lowest first.
template <class Unsigned>
void put_little_endian(unsigned char* at, Unsigned number) {
  for (std::size_t i = 0; i < sizeof number; ++i) at[i] = static_cast<unsigned char>(number >> 8 * i);
}

/// Returns the number whose bytes begin at `at`, the lowest first.
template <class Unsigned>
Unsigned get_little_endian(const unsigned char* at) {
  Unsigned number = 0;
  for (std::size_t i = sizeof number; i-- > 0;) number = number << 8 | at[i];
  return number;
}

}  // namespace corvid_host
