#pragma once

#include <cstdint>
#include <string_view>

namespace study {

constexpr std::uint64_t kEmptyHash = 0xcbf29ce484222325;

/// Returns the hash of a text behind what `so_far` is the hash of. It tells changes by mistake, not by
/// intent. Source: the 64-bit FNV-1a of G. Fowler, L. C. Noll, K.-P. Vo, IETF draft-eastlake-fnv.
inline std::uint64_t hash_of(std::string_view text, std::uint64_t so_far = kEmptyHash) {
  constexpr std::uint64_t kPrime = 0x100000001b3;
  for (const char ch : text) so_far = (so_far ^ static_cast<unsigned char>(ch)) * kPrime;
  return so_far;
}

}  // namespace study
