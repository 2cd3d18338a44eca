#pragma once

// An array in the host's memory that frees itself.

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "frame/corvid.h"
#include "frame/host_memory.h"

namespace corvidnum::solver {

/// Owns an array of plain elements. An array of no elements has no memory.
template <class T>
class Array {
  static_assert(std::is_trivially_copyable_v<T>, "elements are copied as bytes and have no destructor");

 public:
  Array() = default;
  ~Array() { release(); }
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;

  /// Sets the length to `count`. The elements are not initialised, and what they held is lost.
  /// @return false: the host refused the memory, and the array is empty
  bool allocate(std::int64_t count) {
    release();
    if (count <= 0) return true;
    data_ = allocate_array<T>(count);
    if (data_) size_ = count;
    return data_ != nullptr;
  }
  /// Lengthens the array to `count` elements and keeps those it holds; new ones are not initialised.
  /// @return false: the host refused the memory, and the array is as it was
  bool lengthen(std::int64_t count) {
    if (count <= size_) return true;
    T* longer = allocate_array<T>(count);
    if (!longer) return false;
    std::copy(data_, data_ + size_, longer);
    release();
    data_ = longer;
    size_ = count;
    return true;
  }
  void release() {
    if (data_) Corvid_delete(data_);
    data_ = nullptr;
    size_ = 0;
  }
  void fill(T value) { std::fill(begin(), end(), value); }

  std::int64_t size() const { return size_; }
  T* data() { return data_; }
  const T* data() const { return data_; }
  T* begin() { return data_; }
  T* end() { return data_ + size_; }
  const T* begin() const { return data_; }
  const T* end() const { return data_ + size_; }
  T& operator[](std::int64_t i) { return data_[i]; }
  const T& operator[](std::int64_t i) const { return data_[i]; }

 private:
  T* data_ = nullptr;
  std::int64_t size_ = 0;
};

}  // namespace corvidnum::solver
