#pragma once

// Block upper triangular form of a matrix by columns.

#include "sparse/ma38/matrix/matrix.h"

namespace corvidnum {
namespace ma38 {

struct BlockForm {
  Index nblks;
  Index nzoff;  // entries off the diagonal blocks; 0 if the matrix is preserved: they are counted later
};

/// Words that ma38_btf_permute takes for work, the block starts at their end included.
inline Wide btf_work(Wide n) { return 5 * n + 1; }

/// @param matrix    n columns of nz entries in all, none twice. Not preserved: ai and ax have 2 nz places;
///                  if there are several blocks, the entries off the blocks come out at (1) .. (nzoff) in
///                  storage order, ap(j) by original column, and directly behind them the blocks, rows local
/// @param rperm, cperm [n] out: the original row and column at each position, if there are several blocks
/// @param starts    [n+1] out, if there are several blocks: preserved: the position of each row; else where
///                  the entries of each position's column in its block begin
/// @param work      [btf_work] out, if there are several blocks: the last nblks+1 words hold the first
///                  position of each block and n+1
BlockForm ma38_btf_permute(const Columns& matrix, Index n, Index nz, bool preserved, OneBased<int> rperm,
                           OneBased<int> cperm, OneBased<int> starts, OneBased<int> work);

}  // namespace ma38
}  // namespace corvidnum
