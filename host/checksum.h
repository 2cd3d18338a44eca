#pragma once

#include <cstddef>
#include <cstdint>

namespace corvid_host {

/// CRC-32 of `count` bytes: polynomial 0x04C11DB7 with bits reflected, begun and ended with all bits set.
/// It finds every change that lies within 32 bits in a row.
std::uint32_t checksum(const unsigned char* bytes, std::size_t count);

}  // namespace corvid_host
