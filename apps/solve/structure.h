#pragma once

// What a solver knows of the structure of its matrix, kept beyond its life. Rows and columns count from 1 and
// are those of the matrix, whether or not the system is that of its transpose.

#include <optional>
#include <vector>

#include "sparse/sparse_solver.h"

namespace solve {

/// The block triangular form: row[k] and column[k] stand at place k, from 0, and block b holds the places
/// begin[b] to begin[b + 1] - 1. Empty if there is none or nobody looked for it.
struct BlockForm {
  std::vector<int> begin, row, column;
  int count() const { return begin.empty() ? 0 : static_cast<int>(begin.size()) - 1; }
};

struct RowsAndColumns {
  std::vector<int> rows, columns;
};

/// Where a singular matrix lacks rank, see corvidnum::SparseDiagnosis.
struct Deficit {
  int structural_rank = 0;
  RowsAndColumns unmatched, overdetermined, underdetermined;  // of a structurally singular matrix
  RowsAndColumns dependent;                                   // of one that is singular by its values
};

/// @throws std::bad_alloc if the solver has no memory to tell
BlockForm block_form(corvidnum::SparseSolver& solver);

/// @return nothing if the matrix is regular, or there is no memory to tell
std::optional<Deficit> deficit(corvidnum::SparseSolver& solver);

}  // namespace solve
