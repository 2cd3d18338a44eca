#pragma once

#include "sparse/ma38/factors/factors.h"

namespace corvidnum {
namespace ma38 {

/// A solve with factors that locate_factors and vectors_are_sound have passed; for the parts (JOB = 1, 2),
/// which work in X, elements_are_sound too. `w` is the caller's work: 2 N, or 4 N with refinement.
struct SolveCall {
  int job;
  bool transposed;  // TRANSC
  int most_refinements;
  double epsilon;  // CNTL(3)
  OneBased<const int> index;
  OneBased<const double> value;
  KeptFactors kept;
  const double* b;
  double* x;
  double* w;
};

/// False if an LU element does not stay inside: X is unchanged then.
bool ma38_solve_driver(const SolveCall& call, const Results& results);

}  // namespace ma38
}  // namespace corvidnum
