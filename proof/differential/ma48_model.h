#pragma once

// The sparse solver ma48 once more, plainly: analysis, factorisation and solution of one matrix, with the
// orders, the counts and the order of operations that the routines promise, but with lists in place of
// stores. A new list is a new vector, a search is recursive, and nothing is reused.
//
// All vectors are used from element 1 on, as the routines count. Space is without limit, but for the pivot
// choice, where the places that are free decide about the order within rows.

#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace ma48_model {

using Ints = std::vector<int>;
using Vector = std::vector<double>;

/// What the analysis is given, with the controls from element 1.
struct Given {
  int m = 0, n = 0, job = 1, la = 0;
  Ints rows, columns;  // of the entries, from element 1
  Vector values;
  std::array<double, 6> cntl{};
  std::array<int, 10> icntl{};
  Ints marks;                     // of the columns, if icntl[8] is not 0
  Ints row_places, column_order;  // with job 2

  int entries() const { return static_cast<int>(values.size()) - 1; }
};

struct Element {
  int index;  // a row, or in the upper part of a column the earlier column
  double value;
};
using Column = std::vector<Element>;  // from element 0, in the order of the store

/// One column of the factors. A column without pivot has an empty lower part.
struct ColumnFactor {
  Column upper;
  Column lower;     // begins with the pivot, as its reciprocal
  int pruned = -1;  // number of elements of the lower part behind which no search goes; below 0: all

  int size() const { return static_cast<int>(upper.size() + lower.size()); }
};

/// The full part of a block, by columns, `rows` times `columns`; indices from 1.
struct FullPart {
  int rows = 0, columns = 0, rank = 0;
  Vector elements;
  Ints pivots;
  /// Every product and sum was exact, so that neither the order nor the fusing of operations shows.
  bool exact = true;
  Vector before;  // the elements before the factorisation

  double& operator()(int i, int j) { return elements[index(i, j)]; }
  double operator()(int i, int j) const { return elements[index(i, j)]; }
  int index(int i, int j) const { return (j - 1) * rows + i - 1; }
};

struct Block {
  int first = 1, order = 0;
  int kind = 0;  // below 0: triangular; else columns that are eliminated sparsely
  int left_to_last = 0;
  int start = 0;  // of its factors
  std::vector<ColumnFactor> columns;
  Ints full_rows;  // from element 1
  FullPart full;
  int dropped = 0;  // by the last factorisation with job 1 or 3

  int last() const { return first + order - 1; }
};

/// What a solution tells. All values are exact, or at least fixed, unless `exact` is false: then x may differ
/// from that of other orders of operations by about `uncertainty`.
struct Solution {
  int status = 0;
  Vector x, error;
  bool exact = true;
  double uncertainty = 0.0;
};

/// Whether a value may be divided by.
inline bool has_reciprocal(double value) { return std::isfinite(1.0 / value); }

/// Whether sums of some such values are exact in any order.
inline bool is_coarse(double value) {
  return std::fabs(value) < 0x1p20 && std::rint(value * 0x1p20) == value * 0x1p20;
}

/// Returns y + a b, rounded twice; clears `exact` if this, or sums with more terms in another order, may be
/// rounded.
inline double add_product(double y, double a, double b, bool& exact) {
  const double product = a * b;
  if (std::fma(a, b, -product) != 0.0 || !is_coarse(product) || !is_coarse(y)) exact = false;
  return y + product;
}

class Model {
 public:
  explicit Model(const Given& given);

  /// Each returns the status, which is info[1].
  int analyse();
  /// With jobs 2 and 3, `la` tells whether columns that were not left to last stay as they are.
  int factorise(int job, const Vector& values, int la);
  /// Solves with the factors; the full parts have to be those of the library, where they are not exact.
  Solution solve(bool transposed, int job, const Vector& right_hand_side);
  /// Computes the two backward errors of a solution x in the order of the caller.
  std::array<double, 2> backward_errors(bool transposed, const Vector& right_hand_side,
                                        const Vector& x) const;

  /// Tells of each of the caller's columns, from element 1, whether a factorisation with this job leaves it
  /// as it is.
  std::vector<bool> kept_columns(int job) const;

  // What the analysis found; info from element 1.
  std::array<int, 13> info{};
  double operations = 0.0;
  Ints row_place, column_at;                // of the caller's row; the caller's column at a place
  Ints diagonal_start, off_diagonal_start;  // of the columns, with an end
  Ints index;                               // row numbers of the permuted matrix, in the order of the store
  Ints place;                 // of each entry in the store; place[1] below 0: some are duplicates
  std::vector<Block> blocks;  // from element 1
  Vector store;               // values of the permuted matrix, after a factorisation

 private:
  struct Ordered;  // the matrix by columns in the order before the pivots are chosen
  struct Errors;

  bool permutations_are_good() const;
  Ordered in_block_order();
  void put_in_order(Ordered& ordered, const Block& block, int j);
  void find_blocks();
  std::vector<Ints> distinct_rows();
  static Ints block_sizes(const std::vector<Ints>& components, int smallest);
  int match(const std::vector<Ints>& columns, Ints& column_of_row) const;
  std::vector<Ints> strong_components(const std::vector<Ints>& successors) const;
  void leave_columns_last();
  void choose_pivots(Ordered& ordered);
  void renumber(const Ordered& ordered);
  void sum_warnings();

  static int space_of(const Block& block);
  void scatter(const Vector& values);
  bool pivots_are_good(const Block& block, double tolerance) const;
  int count_kept(const Block& block, int job) const;
  Column column_of(const Block& block, int j) const;
  int factor_block(Block& block, int job);
  void factor_freely(Block& block, int job);
  int factor_again(Block& block, int job);
  void factor_full(Block& block);
  int rows_of(const Block& block) const { return blocks.size() == 2 ? given_.m : block.order; }

  Vector apply(bool transposed, const Vector& b, bool& exact, double perturbation) const;
  void apply_block(const Block& block, bool transposed, Vector& b, Vector& x, bool& exact,
                   double perturbation) const;
  void apply_full(const Block& block, bool transposed, Vector& b, bool& exact, double perturbation) const;
  Errors errors_of(bool transposed, const Vector& b, const Vector& x) const;
  void refine(bool transposed, Errors& errors, Solution& solution) const;
  double forward_error(bool transposed, const Errors& errors, Solution& solution) const;
  Vector permuted(bool transposed, const Vector& b) const;
  Vector solution_order(bool transposed, const Vector& x) const;
  Vector inverse_solution_order(bool transposed, const Vector& x) const;

  const Given given_;
  std::vector<Ints> entries_of_;  // of each column, from the last to the first
  bool duplicates_counted_ = false;
  bool columns_stay_ = false;
  int need_ = 0;  // of the block that was factorised last: length of its store
};

}  // namespace ma48_model
