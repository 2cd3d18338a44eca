#pragma once

// Views that show the indices of the numeric routines' contracts, which count from 1. They own nothing and
// cost nothing in a release build; a debug build checks every index.

#include <cassert>
#include <cstddef>

namespace corvidnum {

/// An array numbered from 1: x(1) .. x(size()).
template <class T>
class OneBased {
 public:
  OneBased(T* first, std::ptrdiff_t size) : first_(first), size_(size) {}
  /// A view of elements that may be written serves where they are read.
  template <class U>
  OneBased(const OneBased<U>& other) : first_(other.data()), size_(other.size()) {}  // NOLINT

  std::ptrdiff_t size() const { return size_; }
  T* data() const { return first_; }
  T& operator()(std::ptrdiff_t i) const {
    assert(1 <= i && i <= size_);
    return first_[i - 1];
  }
  /// The elements from number `begin` on, renumbered from 1.
  OneBased from(std::ptrdiff_t begin) const {
    assert(1 <= begin && begin <= size_ + 1);
    return OneBased(first_ + (begin - 1), size_ - (begin - 1));
  }
  /// `count` elements from number `begin` on, renumbered from 1.
  OneBased part(std::ptrdiff_t begin, std::ptrdiff_t count) const {
    assert(count >= 0 && begin - 1 + count <= size_);
    return OneBased(first_ + (begin - 1), count);
  }

 private:
  T* first_;
  std::ptrdiff_t size_;
};

}  // namespace corvidnum
