#pragma once

// The solve of ma38cd_ with factors that are found sound: all blocks, all variants, iterative refinement.

#include "sparse/ma38/factors/factors.h"

namespace corvidnum {
namespace ma38 {

/// Holds the arguments of a solve. The factors must have passed locate_factors() and vectors_are_sound(), and
/// for JOB = 1 and 2, which work in X, elements_are_sound() as well. w has 2 N elements, or 4 N if
/// most_refinements is above 0.
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

/// Solves, refines and sets INFO(24), RINFO(7) and RINFO(8). Returns false, with X unchanged, if an LU
/// element does not stay inside.
bool ma38_solve_driver(const SolveCall& call, const Results& results);

}  // namespace ma38
}  // namespace corvidnum
