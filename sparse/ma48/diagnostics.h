#pragma once

// Diagnostic lines of the sparse direct solver, by the print protocol, which is silent.

#include <algorithm>
#include <initializer_list>

#include "frame/numeric_runtime.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/texts.h"

namespace corvidnum {

/// Prints one line: a format of texts.h and the values for its places.
inline void emit_line(int unit, const char* format, std::initializer_list<int> values) {
  const PrintControl control{0, unit, 0, format, 0};
  const int one = 1;
  write_begin(&control);
  for (const int value : values) write_item(&one, &value, static_cast<int>(sizeof value));
  write_end();
}

/// Prints a label and `count` elements that stand `stride` apart.
template <class T>
void emit_array(int unit, const char* format, const T* values, int count, std::ptrdiff_t stride) {
  const PrintControl control{0, unit, 0, format, 0};
  const int one = 1;
  write_begin(&control);
  for (std::ptrdiff_t k = 0; k < count; ++k)
    write_item(&one, values + k * stride, static_cast<int>(sizeof(T)));
  write_end();
}

/// Prints what the streams and the print level let through.
struct Diagnostics {
  int errorStream, warningStream, level;

  explicit Diagnostics(const int* icntl)
      : errorStream(ma48_icntl(icntl, MA48_ICNTL_ERROR_STREAM)),
        warningStream(ma48_icntl(icntl, MA48_ICNTL_WARNING_STREAM)),
        level(ma48_icntl(icntl, MA48_ICNTL_PRINT_LEVEL)) {}

  bool errors() const { return errorStream > 0 && level >= 1; }
  bool warnings() const { return warningStream > 0 && level >= 2; }
  bool dumps() const { return warningStream > 0 && level >= 3; }
  /// Returns how many of `count` elements a dump shows.
  int shown(int count) const { return level >= 4 ? count : std::min(count, 10); }

  void error(const char* format, std::initializer_list<int> values = {}) const {
    if (errors()) emit_line(errorStream, format, values);
  }
  void warning(const char* format, std::initializer_list<int> values = {}) const {
    if (warnings()) emit_line(warningStream, format, values);
  }
  template <class T>
  void dump(const char* format, const T* values, int count, std::ptrdiff_t stride = 1) const {
    if (dumps()) emit_array(warningStream, format, values, shown(count), stride);
  }
};

/// Dumps the permutations and the blocks of an analysis; `leftToLast` says that it has LBLOCK.
inline void dump_analysis(const Diagnostics& diagnostics, const KeepView<const int>& keep, int m, int n,
                          bool leftToLast) {
  using Keep = KeepView<const int>;
  if (!diagnostics.dumps()) return;
  const int blocks = keep.block_count();
  diagnostics.dump(texts::kRowPlaces, keep.at(1), m);
  diagnostics.dump(texts::kColumnPlaces, &keep.column_at(1), n);
  diagnostics.dump(texts::kDiagonalStarts, &keep.diagonal_start(1), n + 1);
  diagnostics.dump(texts::kOffDiagonalStarts, &keep.off_diagonal_start(1), n + 1);
  diagnostics.dump(texts::kBlockOrders, &keep.block_order(1), blocks, Keep::kBlockStride);
  diagnostics.dump(texts::kBlockKinds, &keep.block_kind(1), blocks, Keep::kBlockStride);
  diagnostics.dump(texts::kBlockStarts, &keep.block_start(1), blocks, Keep::kBlockStride);
  if (leftToLast) diagnostics.dump(texts::kLeftToLast, &keep.left_to_last(blocks, 1), blocks);
}

/// Dumps what the factorisation adds: the ends of the factors' columns.
inline void dump_factor_ends(const Diagnostics& diagnostics, const KeepView<const int>& keep, int n) {
  diagnostics.dump(texts::kLowerEnds, &keep.lower_end(1), n);
  diagnostics.dump(texts::kUpperEnds, &keep.upper_end(1), n);
}

}  // namespace corvidnum
