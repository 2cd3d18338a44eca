#pragma once

// The sequential MUMPS as a peer.

#include <dmumps_c.h>

#include "bench/sparse/problem.h"

namespace bench {

/// Drives sequential MUMPS with its defaults for ordering, scaling and pivot threshold.
class MumpsSolver {
 public:
  static constexpr const char* kName = "MUMPS";

  explicit MumpsSolver(const Problem& problem) : problem_(problem), matrix_(problem.coordinates[0]) {
    mumps_.par = 1;
    mumps_.sym = 0;
    mumps_.comm_fortran = kWorld;
    call(kBegin);
    for (const int stream : {1, 2, 3}) control(stream) = -1;
    control(4) = 0;
    mumps_.n = problem.n;
    mumps_.nnz = problem.entries;
    mumps_.irn = matrix_.rows.data();
    mumps_.jcn = matrix_.columns.data();
    mumps_.a = matrix_.values.data();
  }
  MumpsSolver(const MumpsSolver&) = delete;
  MumpsSolver& operator=(const MumpsSolver&) = delete;
  ~MumpsSolver() { call(kEnd); }

  bool analyse_factorise() { return call(kAnalyse) && factorise(); }

  bool refactorise(int step) {
    matrix_.values = problem_.coordinates[step].values;
    return factorise();
  }

  bool solve(const Vector& b, Vector& x) {
    x = b;
    mumps_.rhs = x.data();
    return call(kSolve);
  }

 private:
  enum Job { kBegin = -1, kEnd = -2, kAnalyse = 1, kFactorise = 2, kSolve = 3 };
  static constexpr int kWorld = -987654, kStoreTooShort = -9, kIndexTooShort = -8;

  int& control(int number) { return mumps_.icntl[number - 1]; }

  bool call(Job job) {
    mumps_.job = job;
    dmumps_c(&mumps_);
    return mumps_.infog[0] >= 0;
  }

  /// Factorises. If the estimated memory is too small, doubles ICNTL(14), the percentage that is added to it,
  /// and tries again.
  bool factorise() {
    while (!call(kFactorise)) {
      const int status = mumps_.infog[0];
      if (status != kStoreTooShort && status != kIndexTooShort) return false;
      control(14) *= 2;
    }
    return true;
  }

  const Problem& problem_;
  reference::Coordinates matrix_;
  DMUMPS_STRUC_C mumps_ = {};
};

}  // namespace bench
