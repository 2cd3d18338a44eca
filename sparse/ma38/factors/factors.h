#pragma once

// Factors that were kept: checks, and solution by them.

#include "sparse/ma38/factors/layout.h"

namespace corvidnum {
namespace ma38 {

/// The factors as KEEP, INDEX and VALUE tell, if they are consistent.
struct KeptFactors {
  bool good;
  int n, nz, nblks, nzoff;
  bool preserved, transposed;
  Index ap, ai, offi;        // positions in INDEX; 0: not there
  Index ax, offx, lu_reals;  // positions in VALUE
  Index lu_ints;             // KEEP(4)
  Index top_end;             // KEEP(5)
};
/// The checks of a solve: KEEP and the scalars, in the contract's order.
KeptFactors locate_factors(int n, int lvalue, int lindex, OneBased<const int> index, const int* keep);
/// What of it a refactorisation reads: KEEP(4), KEEP(5) and what lies between, which has one word of LU
/// elements at the least. The rest of KEEP is not looked at, nor are places outside the pattern filled in.
KeptFactors locate_pattern(int n, int lindex, OneBased<const int> index, const int* keep);
/// Whether pointers, counts, list members and children of the LU collection stay inside: O(length).
/// `reals` is the length of the LU part of VALUE; below 0: not checked (pattern alone, for a
/// refactorisation).
bool elements_are_sound(OneBased<const int> index, Index lu_ints, Index top_end, int n, int nblks,
                        Wide reals);
/// Whether LU elements that have passed stand apart, in the order of their storing: those eliminated last
/// have the lowest words. Then none is changed with another.
bool elements_are_apart(OneBased<const int> index, Index lu_ints, Index top_end, int n, int nblks);
/// Whether the permutations, the blocks' range, the off-diagonal part and the preserved columns stay inside:
/// O(length).
bool vectors_are_sound(OneBased<const int> index, const KeptFactors& kept);

/// LU elements of one block as the solve kernels take them.
struct BlockFactors {
  OneBased<const int> ints;      // the collection of LU elements, from the block's header on
  OneBased<const double> reals;  // the LU part of VALUE
};
/// Solve with L, U, U' and L' in place, x being that of the block and `work` as long. Nothing need have been
/// checked: false if an element does not stay inside, x is spoilt then.
bool ma38_solve_l(const BlockFactors& block, OneBased<double> x, OneBased<double> work);
bool ma38_solve_u(const BlockFactors& block, OneBased<double> x, OneBased<double> work);
bool ma38_solve_ut(const BlockFactors& block, OneBased<double> x, OneBased<double> work);
bool ma38_solve_lt(const BlockFactors& block, OneBased<double> x, OneBased<double> work);

}  // namespace ma38
}  // namespace corvidnum
