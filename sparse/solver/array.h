#pragma once

// An array in the host's memory that frees itself.

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "frame/corvid.h"
#include "frame/host_memory.h"

namespace corvidnum::solver {

/// Owns an array of plain elements. An array of no elements has no memory. The others begin at a multiple of
/// 64 bytes, because a BLAS may sum in another order where a vector begins elsewhere: results would depend on
/// where the host's memory happens to be free.
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
    block_ = allocate_array<T>(count + kAlignment / static_cast<std::int64_t>(sizeof(T)));
    if (!block_) return false;
    const auto past = reinterpret_cast<std::uintptr_t>(block_) % kAlignment;
    data_ = block_ + (past ? (kAlignment - past) / sizeof(T) : 0);
    size_ = count;
    return true;
  }
  /// Lengthens the array to `count` elements and keeps those it holds; new ones are not initialised.
  /// @return false: the host refused the memory, and the array is as it was
  bool lengthen(std::int64_t count) {
    if (count <= size_) return true;
    Array longer;
    if (!longer.allocate(count)) return false;
    std::copy(begin(), end(), longer.begin());
    swap(longer);
    return true;
  }
  void swap(Array& other) {
    std::swap(block_, other.block_);
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
  }
  void release() {
    if (block_) Corvid_delete(block_);
    block_ = data_ = nullptr;
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
  static constexpr int kAlignment = 64;

  T* block_ = nullptr;  // as the host gave it
  T* data_ = nullptr;   // in the block
  std::int64_t size_ = 0;
};

}  // namespace corvidnum::solver
