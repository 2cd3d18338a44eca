#pragma once

// What ma48bd_ and ma48cd_ ask of KEEP before they follow a single index in it. Both checks are linear in the
// order of the matrix. Row indices in IRN and the map in JCN are taken as the analysis left them.

#include <algorithm>
#include <cstdint>

#include "sparse/ma48/layout.h"

namespace corvidnum {

/// Places that a block takes in FACT and in IRNF: its columns up to `columnsEnd`, then the full part by
/// values, or its row indices and pivot data by numbers.
inline std::int64_t block_space(int columnsEnd, int fullRows, int fullColumns) {
  return columnsEnd + std::max(std::int64_t{fullRows} * fullColumns, std::int64_t{fullRows} + fullColumns);
}

/// Whether KEEP holds an analysis of an m x n matrix with at most `longest` entries.
bool keep_is_analysed(const KeepView<const int>& keep, int m, int n, int longest);

/// Whether an analysed KEEP also describes factors that lie within the first `la` places of IRN.
bool keep_is_factorised(const KeepView<const int>& keep, const int* irn, int m, int n, int la);

/// From here on keep_is_factorised() is false, until a factorisation has written its pointers.
inline void mark_unfactorised(const KeepView<int>& keep) { keep.lower_end(1) = -1; }

}  // namespace corvidnum
