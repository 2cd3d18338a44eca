#pragma once

// The cases that are compared between two builds of the library.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace against {

/// A hash of results, in which every bit counts (FNV-1a, 64 bits).
class Hash {
 public:
  void add(const void* bytes, std::size_t count) {
    for (std::size_t k = 0; k < count; ++k)
      value_ = (value_ ^ static_cast<const unsigned char*>(bytes)[k]) * 1099511628211u;
  }
  template <class T>
  void add(const std::vector<T>& values) {
    add(values.data(), values.size() * sizeof(T));
  }
  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 14695981039346656037u;
};

/// A piece of work on the library, which can be repeated.
class Case {
 public:
  virtual ~Case() = default;
  /// Makes ready for work(), and is not measured.
  virtual void prepare() = 0;
  virtual void work() = 0;
  /// Adds what the last work() gave. May call the library.
  virtual void add_results(Hash& hash) = 0;
};

/// The instructions of small cases are counted, which takes fifty times as long as to run them; large ones
/// are timed; those between are both counted and timed.
enum class Size { kSmall, kMiddle, kLarge };

struct NamedCase {
  std::string name;
  Size size;
  std::function<std::unique_ptr<Case>()> make;
};

/// Adds the cases of the dense routines, the accelerators, the tables and the reordering.
void add_dense_cases(std::vector<NamedCase>& cases);
/// Adds the cases of the sparse solvers.
void add_sparse_cases(std::vector<NamedCase>& cases);

}  // namespace against
