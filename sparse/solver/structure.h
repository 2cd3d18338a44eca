#pragma once

// What the pattern of a square matrix tells before any factorisation: its structural rank, which equations
// and unknowns are too many, its block triangular form and how symmetric it is.

#include <cstdint>

#include "sparse/solver/array.h"
#include "sparse/solver/pattern.h"

namespace corvidnum::solver {

/// A row or column that has no partner in a matching.
constexpr int kUnmatched = -1;

/// Finds a maximum matching of rows to columns along the entries of the pattern.
/// @param row_of_column   out: [order] the row matched to each column, or kUnmatched
/// @param structural_rank out: the number of matched columns
/// @return false: the host refused the memory, and the results are unset
/// Needs O(order * entries) time at worst, usually little more than O(entries).
bool maximum_matching(const Pattern& pattern, Array<int>& row_of_column, int& structural_rank);

/// The part of the coarse decomposition that a row or column belongs to.
enum class Part : std::uint8_t {
  kSquare,          // as many rows as columns, matched completely
  kOverDetermined,  // more rows than columns: too many equations
  kUnderDetermined  // more columns than rows: too many unknowns
};

/// The coarse Dulmage-Mendelsohn decomposition. With rows and columns in the order under-determined, square,
/// over-determined, the pattern is block upper triangular. Each part is the same for every maximum matching;
/// the unmatched rows and columns are those of one of them.
struct CoarseDecomposition {
  Array<Part> part_of_row, part_of_column;       // [order]
  Array<int> unmatched_rows, unmatched_columns;  // [order - structural rank], from 0, ascending
};

/// Finds the coarse decomposition in O(order + entries).
/// @param row_of_column a maximum matching of the pattern
/// @return false: the host refused the memory, and the decomposition is unset
bool coarse_decomposition(const Pattern& pattern, const Array<int>& row_of_column,
                          CoarseDecomposition& decomposition);

/// A permutation to block upper triangular form whose diagonal holds entries only. Places count from 0.
struct BlockTriangularForm {
  Array<int> row, column;  // [order] the row and the column at each place
  Array<int> block_begin;  // [blocks + 1] the first place of each block, and the order

  int blocks() const { return static_cast<int>(block_begin.size()) - 1; }
};

/// Finds the block triangular form with the most blocks, in O(order + entries).
/// @param row_of_column a matching of all columns: the matrix is structurally nonsingular
/// @return false: the host refused the memory, and the form is unset
bool block_triangular_form(const Pattern& pattern, const Array<int>& row_of_column,
                           BlockTriangularForm& form);

/// Returns the share of the off-diagonal entries whose transposed place holds an entry too, 1 if there are
/// none.
/// @param diagonal the number of places on the diagonal that hold an entry
double pattern_symmetry(const Pattern& pattern, int diagonal);

/// Returns the number of places on the diagonal that hold an entry.
int diagonal_entries(const Pattern& pattern);

}  // namespace corvidnum::solver
