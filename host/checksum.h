#pragma once

// The checksum of the files of chunks.

#include <cstddef>
#include <cstdint>

namespace corvid_host {

/// Returns the CRC-32 of `count` bytes: polynomial 0x04C11DB7 with bits reflected, initial value and final
/// exclusive-or 0xFFFFFFFF. It detects every change that lies within 32 consecutive bits.
std::uint32_t checksum(const unsigned char* bytes, std::size_t count);

}  // namespace corvid_host
