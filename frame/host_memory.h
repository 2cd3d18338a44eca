#pragma once

/// @file
/// All memory of the library comes from the host's allocator: objects through class-level new and delete,
/// arrays through allocate_array.

#include <cstddef>
#include <cstdint>

#include "frame/corvid.h"
#include "frame/export.h"

/// Base of the exported classes, whose objects are allocated by Corvid_new and freed by Corvid_delete.
/// A new expression yields null when the host's memory is exhausted; no constructor runs then.
class CORVIDNUM_API HostAllocated {
 public:
  /// Allocates by Corvid_new; null if memory is exhausted.
  static void* operator new(std::size_t bytes) noexcept;
  /// Allocates by Corvid_new; null if memory is exhausted.
  static void* operator new[](std::size_t bytes) noexcept;
  /// Frees by Corvid_delete.
  static void operator delete(void* block) noexcept;
  /// Frees by Corvid_delete.
  static void operator delete[](void* block) noexcept;
  /// Returns `place`: placement new, declared here because the operators above hide the global one.
  static void* operator new(std::size_t bytes, void* place) noexcept;
  /// Does nothing: goes with placement new.
  static void operator delete(void* block, void* place) noexcept;
};

namespace corvidnum {

/// Allocates an array of `count` elements, not initialised, which the caller frees with Corvid_delete.
/// A count of 0 or less allocates one element, so that null always means that memory was refused.
template <class T>
T* allocate_array(std::int64_t count) {
  const std::uint64_t elements = count > 0 ? static_cast<std::uint64_t>(count) : 1;
  if (elements > PTRDIFF_MAX / sizeof(T)) return nullptr;
  return static_cast<T*>(Corvid_new(static_cast<std::size_t>(elements * sizeof(T))));
}

}  // namespace corvidnum
