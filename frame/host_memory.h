#pragma once

// All memory of the library is the host's: objects by class-level new and delete, arrays by allocate_array.

#include <cstddef>
#include <cstdint>

#include "frame/corvid.h"
#include "frame/export.h"

/// Base of the exported classes: their objects live in memory of Corvid_new.
/// A new expression gives null when the host's memory is exhausted; no constructor runs then.
class CORVIDNUM_API HostAllocated {
 public:
  static void* operator new(std::size_t bytes) noexcept;
  static void* operator new[](std::size_t bytes) noexcept;
  static void operator delete(void* block) noexcept;
  static void operator delete[](void* block) noexcept;
  // Placement, which the operators above would hide.
  static void* operator new(std::size_t bytes, void* place) noexcept;
  static void operator delete(void* block, void* place) noexcept;
};

namespace corvidnum {

/// An array of `count` elements from Corvid_new, not initialised; freed by Corvid_delete.
/// A count of 0 or less gives room for one element, so that null always means refused.
template <class T>
T* allocate_array(std::int64_t count) {
  const std::uint64_t elements = count > 0 ? static_cast<std::uint64_t>(count) : 1;
  if (elements > PTRDIFF_MAX / sizeof(T)) return nullptr;
  return static_cast<T*>(Corvid_new(static_cast<std::size_t>(elements * sizeof(T))));
}

}  // namespace corvidnum
