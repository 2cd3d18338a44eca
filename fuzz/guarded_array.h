#pragma once

// Arrays that end where an inaccessible page begins, so that a read or a write behind them ends the program
// in code without instrumentation as well, such as a BLAS. What lies in front of them is poisoned for the
// address sanitizer.

#include <sanitizer/asan_interface.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "fuzz/bytes.h"

namespace fuzz {

/// Mapped memory with an inaccessible page behind it.
struct Mapping {
  unsigned char* begin;
  std::size_t bytes;  // without that page
};

/// Hands out mappings and keeps those given back, because to map memory takes longer than most runs.
class Mappings {
 public:
  static Mapping take(std::size_t bytes) {
    for (Mapping& kept : store()) {
      if (kept.bytes < bytes) continue;
      const Mapping taken = kept;
      kept = store().back();
      store().pop_back();
      return taken;
    }
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    constexpr std::size_t kLeastPages = 64;
    const std::size_t whole = std::max(kLeastPages, bytes / page + 1) * page;
    void* const memory =
        mmap(nullptr, whole + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    require(memory != MAP_FAILED, "the fuzzer has no memory to map");
    auto* const begin = static_cast<unsigned char*>(memory);
    require(mprotect(begin + whole, page, PROT_NONE) == 0, "the fuzzer cannot protect a page");
    return {begin, whole};
  }
  static void give_back(Mapping mapping) { store().push_back(mapping); }

 private:
  static std::vector<Mapping>& store() {
    static auto* const kept = new std::vector<Mapping>;
    return *kept;
  }
};

/// An array of exactly `size` elements between guards. Its elements begin as bytes of 0xA5: as integers they
/// are far out of every range, as doubles tiny.
template <class T>
class GuardedArray {
 public:
  explicit GuardedArray(std::size_t size) : size_(size), mapping_(Mappings::take(size * sizeof(T))) {
    place_elements();
    std::memset(static_cast<void*>(data_), 0xA5, size_ * sizeof(T));
  }
  GuardedArray(const GuardedArray&) = delete;
  GuardedArray& operator=(const GuardedArray&) = delete;
  GuardedArray(GuardedArray&& other) noexcept
      : size_(std::exchange(other.size_, 0)),
        mapping_(std::exchange(other.mapping_, {nullptr, 0})),
        data_(std::exchange(other.data_, nullptr)) {}
  ~GuardedArray() {
    if (mapping_.begin == nullptr) return;
    __asan_unpoison_memory_region(mapping_.begin, mapping_.bytes);
    Mappings::give_back(mapping_);
  }

  T* data() { return data_; }
  const T* data() const { return data_; }
  std::size_t size() const { return size_; }
  int length() const { return static_cast<int>(size_); }
  T* begin() { return data_; }
  T* end() { return data_ + size_; }
  const T* begin() const { return data_; }
  const T* end() const { return data_ + size_; }
  T& operator[](std::size_t i) { return data_[i]; }
  const T& operator[](std::size_t i) const { return data_[i]; }
  void fill(T value) { std::fill(begin(), end(), value); }
  std::vector<T> copy() const { return {begin(), end()}; }
  /// Makes it an array of another size, which keeps the elements that both have.
  void resize(std::size_t size) {
    GuardedArray other(size);
    std::copy_n(begin(), std::min(size_, size), other.begin());
    std::swap(mapping_, other.mapping_);
    std::swap(size_, other.size_);
    std::swap(data_, other.data_);
  }

 private:
  void place_elements() {
    unsigned char* const first = mapping_.begin + (mapping_.bytes - size_ * sizeof(T));
    data_ = reinterpret_cast<T*>(first);
    __asan_poison_memory_region(mapping_.begin, static_cast<std::size_t>(first - mapping_.begin));
  }

  std::size_t size_;
  Mapping mapping_;
  T* data_ = nullptr;
};

using Ints = GuardedArray<int>;
using Doubles = GuardedArray<double>;

/// Returns a guarded copy of a vector.
template <class T>
GuardedArray<T> guarded(const std::vector<T>& values) {
  GuardedArray<T> array(values.size());
  std::copy(values.begin(), values.end(), array.begin());
  return array;
}

}  // namespace fuzz
