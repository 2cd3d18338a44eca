#pragma once

// What the routines that factorise have in common: their arguments, and where the matrix and the factors
// stand in the two arrays.

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/matrix/matrix.h"
#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

/// The arguments, in the routines' order.
struct FactorArguments {
  int n, ne, job, transa, lvalue, lindex;
  double* value;
  int *index, *keep;
  const double* cntl;
  const int* icntl;
  int* info;
  double* rinfo;
};

class FactorCall {
 public:
  FactorCall(Who who, const FactorArguments& arguments);

 protected:
  /// @param reset_keep elements of KEEP to clear
  void begin(int reset_keep);
  void end();
  /// Sets the status. @return false
  bool fail(int code, int detail) const;
  bool order_is_good() const;
  /// False, with an error, unless the arrays hold what the conversion takes and `pattern` words above it.
  bool arrays_are_long_enough(Wide pattern) const;

  /// Triplets to columns; `last` is the last word of INDEX that can be used.
  bool convert(Index last);
  /// The words between the matrix and `last`. A matrix to be preserved stays below them, with its column
  /// starts once more; what is above them counts as used.
  Space space(Index last) const;
  Columns columns() const;
  /// A preserved matrix goes to right below the factors, and the scalars and KEEP tell where all is.
  void keep_factors(Space& room, int nblks, Index nzoff) const;

  bool preserved() const { return in_.job == 1; }
  FactorTop<int> top(Index last) const { return FactorTop<int>(index_, last, in_.n); }

  const Who who_;
  const FactorArguments in_;
  const OneBased<double> value_;
  const OneBased<int> index_, keep_;
  const Results results_;
  int nz_ = 0;  // entries that the conversion leaves

 private:
  Index copied_ints() const { return Index{in_.n} + 1 + nz_; }  // column starts and rows
  void move_matrix_up(Index index_begin, Index value_begin) const;
  void write_scalars(int nblks, Index nzoff) const;
  void dump(bool output) const;
};

}  // namespace ma38
}  // namespace corvidnum
