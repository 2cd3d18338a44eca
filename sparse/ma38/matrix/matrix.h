#pragma once

// The matrix that comes in, and what of it lies off the diagonal blocks.

#include "sparse/ma38/report/messages.h"

namespace corvidnum {
namespace ma38 {

/// A matrix by compressed columns: column j is at ap(j) .. ap(j+1)-1 of ai and ax.
struct Columns {
  OneBased<int> ap, ai;
  OneBased<double> ax;
};

/// Triplets to columns in INDEX(1..) and VALUE(1..). nz: in, the entries given; out, those kept.
/// w [n] and ap [n+1] lie in `index` above the triplets. False: error -2 is set.
bool ma38_convert(Who who, int n, int& nz, bool transa, OneBased<double> value, OneBased<int> index,
                  OneBased<int> w, OneBased<int> ap, const int* icntl, const Results& results);

/// Reads a matrix preserved (by blocks), or what of it lies outside the diagonal blocks.
struct OffDiagonalInput {
  Who who;
  int n, nblks;
  bool preserved;
  Columns matrix;  // not preserved: the off-diagonal entries alone, ap by ORIGINAL column, rows original
  OneBased<const int> rperm, cperm, blkp;
  const int* icntl;
};
/// Fills the off-diagonal part by rows. work [n]. Returns the entries below the diagonal blocks, each
/// reported by code 96 (who = kRefactor only).
Wide ma38_offdiag_rows(const OffDiagonalInput& input, OneBased<int> offp, OneBased<int> offi,
                       OneBased<double> offx, OneBased<int> work);

}  // namespace ma38
}  // namespace corvidnum
