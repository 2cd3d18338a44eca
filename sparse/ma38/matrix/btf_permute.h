#pragma once

// Permutation of a matrix to block upper triangular form.

#include "sparse/ma38/matrix/matrix.h"

namespace corvidnum {
namespace ma38 {

/// Tells what form was found.
struct BlockForm {
  Index nblks;  // diagonal blocks
  Index nzoff;  // entries off the diagonal blocks; 0 if the matrix is preserved: the driver counts them later
};

/// Returns the length of `work` of ma38_btf_permute(), including the block starts at its end.
inline Wide btf_work(Wide n) { return 5 * n + 1; }

/// Finds the block upper triangular form and, unless the matrix is preserved, permutes the matrix to it in
/// place. If there is only one block, nothing is permuted, and the contents of the arrays below have no
/// meaning.
/// @param matrix    n columns with nz entries in all, none twice. Not preserved: ai and ax have 2 nz places
///                  and leave with the entries off the blocks at places 1 .. nzoff, in storage
///                  order, ap by original column, rows original; directly behind them the entries of the
///                  blocks, position by position, with rows counted from the block's first
/// @param rperm, cperm [n] out: the original row and column at each position
/// @param starts    [n+1] out: if preserved, the position of each row; else the place where the entries of
///                  each position's column begin in its block, and their end
/// @param work      [btf_work] out: the last nblks+1 words hold the first position of each block, and n+1
BlockForm ma38_btf_permute(const Columns& matrix, Index n, Index nz, bool preserved, OneBased<int> rperm,
                           OneBased<int> cperm, OneBased<int> starts, OneBased<int> work);

}  // namespace ma38
}  // namespace corvidnum
