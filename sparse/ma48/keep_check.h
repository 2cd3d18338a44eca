#pragma once

// What ma48bd_ and ma48cd_ ask of KEEP, IRN and JCN before they follow a single index in them: nothing that
// passes leads outside of the arrays. The checks are linear in the lengths. Whether the indices are those
// that the analysis or the factorisation left is not known: others within their ranges give a wrong solution.

#include <algorithm>
#include <cstdint>

#include "sparse/ma48/layout.h"

namespace corvidnum {

/// Returns how many places a block takes in FACT and in IRNF: its columns up to `columnsEnd`, then the full
/// part by values, or its row indices and pivot data by numbers.
inline std::int64_t block_space(int columnsEnd, int fullRows, int fullColumns) {
  return columnsEnd + std::max(std::int64_t{fullRows} * fullColumns, std::int64_t{fullRows} + fullColumns);
}

/// Tells whether KEEP holds an analysis of an m x n matrix with at most `longest` entries.
bool keep_is_analysed(const KeepView<const int>& keep, int m, int n, int longest);

/// Tells whether, by an analysed KEEP, the entries in IRN of each diagonal block have rows of that block, and
/// those above it rows of the blocks before it.
bool rows_lie_within_blocks(const KeepView<const int>& keep, const int* irn, int m);

/// Tells whether the map leads from each of the `ne` entries given to a place within 1 .. ne.
bool map_is_in_range(const int* jcn, int ne);

/// Tells whether an analysed KEEP also describes factors that lie within the first `la` places of IRN. What
/// JOB 2 and 3 ask of their factors beyond that (see column_factor.cpp) is tested where they use it.
bool keep_is_factorised(const KeepView<const int>& keep, const int* irn, int m, int n, int la);

/// Makes keep_is_factorised() false until a factorisation has written its pointers.
inline void mark_unfactorised(const KeepView<int>& keep) { keep.lower_end(1) = -1; }

}  // namespace corvidnum
