#pragma once

// What ma38ad_ and ma38bd_ have in common: their arguments, the checks, and where the matrix, the work space
// and the factors stand in INDEX and VALUE.
//
//   JOB = 0:  | column starts | work space: rows, factors |
//   JOB = 1:  | column starts | rows | column starts again | work space: factors |
//
// With JOB = 1 the columns stay as they are below the work space. ma38bd_ needs room for n words beside them,
// for which the second copy of the starts serves. VALUE has no starts: with JOB = 0 all of it is work space.

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/matrix/matrix.h"
#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

/// Holds the arguments of ma38ad_ and ma38bd_, in their order.
struct FactorArguments {
  int n, ne, job, transa, lvalue, lindex;
  double* value;
  int *index, *keep;
  const double* cntl;
  const int* icntl;
  int* info;
  double* rinfo;
};

/// Runs what comes before and after the factorisation itself.
class FactorCall {
 public:
  FactorCall(Who who, const FactorArguments& arguments);

 protected:
  /// Clears INFO, RINFO and the first `reset_keep` elements of KEEP, and dumps the arguments.
  void begin(int reset_keep);
  /// Clears KEEP(1) to KEEP(5) after an error, caps INFO(18) and INFO(20) at LINDEX and LVALUE, and dumps the
  /// results.
  void end();
  /// Sets the status and issues the message. Returns false.
  bool fail(int code, int detail) const;
  /// Returns whether N and NE are at least 1; if not, sets the error.
  bool order_is_good() const;
  /// Returns whether the arrays have room for the conversion and for `pattern` words above it; if not, sets
  /// the error, which is both if both are too short.
  bool arrays_are_long_enough(Wide pattern) const;

  /// Converts the triplets to columns. `last` is the last word of INDEX that it may use. False: an error is
  /// set.
  bool convert(Index last);
  /// Returns the work space, which ends at the word `last` of INDEX and the end of VALUE. The words above it
  /// count as used and needed. JOB = 1: copies the column starts.
  Space space(Index last) const;
  /// Returns views of the columns that convert() has made.
  Columns columns() const;
  /// Moves a preserved matrix up to stand directly below the factors, and writes the scalars and KEEP.
  void keep_factors(Space& room, int nblks, Index nzoff) const;

  bool preserved() const { return in_.job == 1; }
  FactorTop<int> top(Index last) const { return FactorTop<int>(index_, last, in_.n); }

  const Who who_;
  const FactorArguments in_;
  const OneBased<double> value_;
  const OneBased<int> index_, keep_;
  const Results results_;
  int nz_ = 0;  // entries of the matrix after the conversion

 private:
  Index copied_ints() const { return Index{in_.n} + 1 + nz_; }  // words of a preserved matrix: starts, rows
  void move_matrix_up(Index index_begin, Index value_begin) const;
  void write_scalars(int nblks, Index nzoff) const;
  void dump(bool output) const;
};

}  // namespace ma38
}  // namespace corvidnum
