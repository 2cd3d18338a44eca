#pragma once

// A view of an array by 1-based indices, in which the contracts of the numeric routines are written. It owns
// nothing and costs nothing in a release build; a debug build checks every index.

#include <cassert>
#include <cstddef>

namespace corvidnum {

/// An array numbered from 1: x(1) .. x(size()).
template <class T>
class OneBased {
 public:
  OneBased(T* first, std::ptrdiff_t size) : first_(first), size_(size) {}
  /// Converts a view of writable elements to a view of constant ones.
  template <class U>
  OneBased(const OneBased<U>& other) : first_(other.data()), size_(other.size()) {}  // NOLINT

  std::ptrdiff_t size() const { return size_; }
  T* data() const { return first_; }
  T& operator()(std::ptrdiff_t i) const {
    assert(1 <= i && i <= size_);
    return first_[i - 1];
  }
  /// Returns the view of x(begin) .. x(size()), renumbered from 1.
  OneBased from(std::ptrdiff_t begin) const {
    assert(1 <= begin && begin <= size_ + 1);
    return OneBased(first_ + (begin - 1), size_ - (begin - 1));
  }
  /// Returns the view of the `count` elements from x(begin) on, renumbered from 1.
  OneBased part(std::ptrdiff_t begin, std::ptrdiff_t count) const {
    assert(count >= 0 && begin - 1 + count <= size_);
    return OneBased(first_ + (begin - 1), count);
  }

 private:
  T* first_;
  std::ptrdiff_t size_;
};

}  // namespace corvidnum
