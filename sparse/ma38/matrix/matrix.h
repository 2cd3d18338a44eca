#pragma once

// The matrix by compressed columns: conversion from triplets, and the part off the diagonal blocks by rows.

#include "sparse/ma38/report/messages.h"

namespace corvidnum {
namespace ma38 {

/// Views a matrix by compressed columns: the rows and values of column j are ai(p) and ax(p), p = ap(j) ..
/// ap(j+1)-1.
struct Columns {
  OneBased<int> ap, ai;
  OneBased<double> ax;
};

/// Converts triplets to columns: starts in INDEX(1..n+1), rows from INDEX(n+2) on, values from VALUE(1) on.
/// Drops entries out of range and sums those in the same place; INFO counts both.
/// @param nz    in: the entries given; out: those of the matrix
/// @param value, index  VALUE and INDEX; in: the triplets, at VALUE(1..nz), INDEX(1..nz), INDEX(nz+1..2nz)
/// @param transa whether the columns are those of the transpose
/// @param w, ap [n], [n+1] work, in `index` above the triplets and their sorted copy
/// @return false if no entry is left; the status is then -2
bool ma38_convert(Who who, int n, int& nz, bool transa, OneBased<double> value, OneBased<int> index,
                  OneBased<int> w, OneBased<int> ap, const int* icntl, const Results& results);

/// Holds what ma38_offdiag_rows() reads: a whole matrix that is preserved, or the entries off the diagonal
/// blocks alone.
struct OffDiagonalInput {
  Who who;
  int n, nblks;
  bool preserved;
  Columns matrix;  // by original columns, with original rows; not preserved: only the off-diagonal entries
  OneBased<const int> rperm, cperm, blkp;
  const int* icntl;
};
/// Writes the off-diagonal part by rows: row i of P A Q is at offp(i) .. offp(i+1)-1 of offi, its columns in
/// ascending order, and offx. work [n] receives the position of each row.
/// @return the entries below the diagonal blocks, which only a refactorisation can meet; each is dropped and
///         reported by kEntryBelowBlocks
Wide ma38_offdiag_rows(const OffDiagonalInput& input, OneBased<int> offp, OneBased<int> offi,
                       OneBased<double> offx, OneBased<int> work);

}  // namespace ma38
}  // namespace corvidnum
