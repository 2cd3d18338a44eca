#pragma once

// The pattern of a square sparse matrix, by rows and by columns.

namespace corvidnum::solver {

/// Views the pattern of an n x n matrix without duplicates. All indices count from 0. Row i has the columns
/// column[row_begin[i]] .. column[row_begin[i + 1] - 1], in ascending order; column j has the rows
/// row[column_begin[j]] .. row[column_begin[j + 1] - 1], in ascending order.
struct Pattern {
  int order;
  const int* row_begin;     // [order + 1]
  const int* column;        // [row_begin[order]]
  const int* column_begin;  // [order + 1]
  const int* row;           // [row_begin[order]]

  int entries() const { return row_begin[order]; }
};

}  // namespace corvidnum::solver
