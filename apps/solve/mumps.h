#pragma once

// The parallel MUMPS (Amestoy, Duff, L'Excellent and Koster, SIAM J. Matrix Anal. Appl. 23 (2001) 15-41) for
// one matrix whose entries are spread over the ranks.

#include <dmumps_c.h>

#include <cstdint>
#include <vector>

#include "apps/solve/matrix_market.h"

namespace solve {

/// All ranks make every call, after MPI has been started, and all of them get the same results.
class Mumps {
 public:
  enum class Status { kDone, kSingular, kNoMemory, kFailed };

  /// @param share      entries of this rank, which outlive the object
  /// @param entries    how many all ranks have together
  /// @param threshold  of the pivot test, 0 to 1; below 0 for that of MUMPS
  Mumps(Matrix& share, std::int64_t entries, double threshold);
  Mumps(const Mumps&) = delete;
  Mumps& operator=(const Mumps&) = delete;
  ~Mumps();

  /// Analyses the pattern and factorises, with more room if what was estimated does not suffice.
  Status factorise();
  /// Factorises again, after factorise() has succeeded, with another threshold of the pivot test.
  Status factorise_by(double threshold);
  /// Solves in place.
  /// @param b       at rank 0 the right-hand side, then the solution; elsewhere empty
  /// @param errors  have MUMPS estimate condition and forward error of this solution, too
  Status solve(std::vector<double>& b, bool transposed, bool errors = false);

  double threshold() const { return mumps_.cntl[0]; }
  std::int64_t factor_entries() const;
  double operations() const { return mumps_.rinfog[2]; }
  /// Memory that the factorisation took, in MB: of the process that took the most, and of all together.
  int largest_memory() const { return mumps_.infog[20]; }
  int memory() const { return mumps_.infog[21]; }
  /// Condition number of the componentwise error (Arioli, Demmel and Duff, SIAM J. Matrix Anal. Appl. 10
  /// (1989) 165-190).
  double condition() const { return mumps_.rinfog[9]; }
  /// Bound of the forward error, relative to the largest unknown, that follows from it and from a backward
  /// error of one rounding at least, which A and b have themselves.
  double forward_error() const;
  /// Equations whose pivots vanish, counted from 1, at rank 0.
  std::vector<int> null_pivots() const;
  /// What MUMPS says of a failure.
  int error() const { return mumps_.infog[0]; }
  int error_detail() const { return mumps_.infog[1]; }

 private:
  int& control(int number) { return mumps_.icntl[number - 1]; }
  Status call(int job);
  Status factorise_values();

  DMUMPS_STRUC_C mumps_ = {};
};

}  // namespace solve
