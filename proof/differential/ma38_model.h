#pragma once

// A plain model of the multifrontal solver: what ma38ad_, ma38bd_ and ma38cd_ must give for a matrix, written
// with lists and full matrices and without the library's sources. It has no storage of fixed length, so it
// knows neither garbage collection nor the lengths that the routines report.
//
// Every number carries a bound of its rounding error. The bound is zero as long as numbers are short enough
// for sums of their products to be exact in every order; then the library must give the same bits. Where a
// choice of the method hangs on less than the bound, the model gives up (Undecided), as it does in about one
// of twenty cases of the differential runs.

#include <cstddef>
#include <vector>

namespace ma38_model {

using Ints = std::vector<int>;

/// Thrown where rounding decides what the method does next.
struct Undecided {};

/// A number, and how far from it any order of the same operations can end.
struct Real {
  double value = 0.0, error = 0.0;
  bool is_exactly(double v) const { return value == v && error == 0.0; }
};
using Reals = std::vector<Real>;

/// The controls as the caller gives them; they are clamped where they are used.
struct Controls {
  double threshold, growth;                               // CNTL(1), CNTL(2)
  int blocks, width, prefer_diagonal, batch, refinement;  // ICNTL(4) to ICNTL(8)
  int dense1, dense2;                                     // KEEP(7), KEEP(8)
};

/// Entries with rows and columns from 1; some may lie outside or repeat.
struct Matrix {
  int order = 0;
  Ints rows, columns;
  std::vector<double> values;
};

/// An entry of a compressed column.
struct Entry {
  int row;
  Real value;
};
/// [order + 1]; column 0 is not used.
using Columns = std::vector<std::vector<Entry>>;

/// K pivots eliminated together. Members of lists are positions in the block, from 1.
struct LuElement {
  int first = 0, pivots = 0;              // positions first + 1 .. first + pivots
  Ints l, u, children;                    // children as in INDEX: element, + order: columns, + 2 order: rows
  int front_columns = 0, front_rows = 0;  // of the first element of a front
  std::vector<Reals> columns;             // [K][K + |l|]: pivot block over the rows of L
  std::vector<Reals> upper;               // [|u|][K]
};

struct Block {
  int first = 0, order = 0, pivots = 0;  // positions first + 1 .. first + order
  bool singleton = false;
  Real pivot;  // of a singleton
  std::vector<LuElement> elements;
};

/// An entry off the diagonal blocks, by positions from 1.
struct OffDiagonal {
  int row, column;
  Real value;
};

/// Results of a factorisation. Without factors if the status is negative.
struct Factors {
  int status = 0;
  int duplicates = 0, invalid = 0, dropped = 0, entries = 0, diagonal_entries = 0, singletons = 0;
  int entries_l = 0, entries_u = 0, fronts = 0, diagonal_pivots = 0, pivots = 0;  // INFO(10), (11), (13), ..
  double assembly_flops = 0.0, search_flops = 0.0, flops1 = 0.0, flops2 = 0.0, flops3 = 0.0;  // RINFO(2..6)
  int longest_l = 0, longest_u = 0, elements = 0;                                             // of all blocks
  Ints row_order, column_order;  // [order] original row and column at each position
  std::vector<Block> blocks;
  std::vector<OffDiagonal> off_diagonal;  // by rows, each in ascending order
  Columns columns;                        // the compressed matrix

  int order() const { return static_cast<int>(row_order.size()); }
};

/// Analyses and factorises, as ma38ad_.
/// @throws Undecided
Factors factorise(const Matrix& matrix, bool transposed, const Controls& controls);

/// Factorises another matrix with the pivot order and lists of `prior`, as ma38bd_. RINFO is not modelled.
/// @throws Undecided
Factors refactorise(const Matrix& matrix, bool transposed, const Factors& prior);

/// Solves with the factors, as ma38cd_ without refinement.
/// @param job 1: with L alone, 2: with U alone, else with both
Reals solve(const Factors& factors, int job, bool transposed, const std::vector<double>& right_side);

}  // namespace ma38_model
