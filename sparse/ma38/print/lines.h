#pragma once

// Writes the lines of a dump through the print protocol of frame/, which is silent in this library.

#include <algorithm>
#include <cstring>

#include "frame/numeric_runtime.h"
#include "sparse/ma38/factors/factors.h"
#include "sparse/ma38/print/print.h"
#include "sparse/ma38/print/texts.h"

namespace corvidnum {
namespace ma38 {

/// Writes what unit and print level admit.
class Dump {
 public:
  explicit Dump(const int* icntl)
      : unit_(ma38_icntl(icntl, MA38_ICNTL_DUMP_UNIT)), level_(ma38_icntl(icntl, MA38_ICNTL_PRINT_LEVEL)) {}

  bool on() const { return level_ >= 3 && unit_ >= 0; }
  bool shows_layout() const { return level_ >= 5; }
  Index shown(Index count) const { return level_ >= 4 ? count : std::min<Index>(count, 10); }

  /// Writes a line: a format, and the values that fill its places.
  template <class... Items>
  void line(const char* format, const Items&... items) const {
    const PrintControl control{0, unit_, 0, format, 0};
    write_begin(&control);
    (item(items), ...);
    write_end();
  }
  /// Calls `write(k)` for k = 1, 2, .. , and writes dots if the level cuts the list short.
  template <class Write>
  void list(Index count, const Write& write) const {
    for (Index k = 1; k <= shown(count); ++k) write(k);
    if (shown(count) < count) line(print_texts::kMore);
  }

 private:
  static void put(const void* value, std::size_t bytes) {
    const int one = 1;
    write_item(&one, value, static_cast<int>(bytes));
  }
  static void item(int value) { put(&value, sizeof value); }
  static void item(Wide value) { item(clamped(value)); }  // a position or a count
  static void item(double value) { put(&value, sizeof value); }
  static void item(const char* text) { put(text, std::strlen(text)); }

  const int unit_, level_;
};

/// Dumps factors that locate_factors() or, on entry to ma38bd_, locate_pattern() has found good
/// (factors.cpp). On entry to ma38bd_ only the pattern is read: the new matrix has overwritten the rest.
void dump_factors(const Dump& dump, const PrintArguments& arguments, const KeptFactors& factors);

}  // namespace ma38
}  // namespace corvidnum
