#pragma once

// The state of FixedPoint is spread over several objects. Each lists its parts to a visitor, so that size,
// saving and restoring cannot disagree.

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace corvidnum {

/// Lists one plain object. The visitor is called with an address and a number of bytes.
template <class Visitor, class T>
void visit_object(Visitor& visit, T& object) {
  static_assert(std::is_trivially_copyable_v<T>);
  visit(static_cast<void*>(&object), sizeof object);
}

/// Lists the elements of an array.
template <class Visitor, class T>
void visit_array(Visitor& visit, T* array, std::int64_t count) {
  static_assert(std::is_trivially_copyable_v<T>);
  visit(static_cast<void*>(array), static_cast<std::size_t>(count) * sizeof *array);
}

}  // namespace corvidnum
