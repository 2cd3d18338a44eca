#pragma once

// The factors that a host has kept between calls: where they are, checks of them, and the triangular solves.

#include "sparse/ma38/factors/layout.h"

namespace corvidnum {
namespace ma38 {

/// Tells where the parts of the factors are, as KEEP and the scalars in INDEX tell.
struct KeptFactors {
  bool good;  // false: KEEP or the scalars are not those of factors, and nothing else has a meaning
  int n, nz, nblks, nzoff;
  bool preserved, transposed;
  Index ap, ai, offi;        // positions in INDEX; 0: not there
  Index ax, offx, lu_reals;  // positions in VALUE
  Index lu_ints;             // KEEP(4)
  Index top_end;             // KEEP(5)
};
/// Locates the factors for a solve. Reads nothing but KEEP and the scalars.
KeptFactors locate_factors(int n, int lvalue, int lindex, OneBased<const int> index, const int* keep);
/// Locates what a refactorisation reads: the words KEEP(4) to KEEP(5), of which at least one belongs to the
/// LU elements. Does not read the rest of KEEP, and leaves the positions of all else 0.
KeptFactors locate_pattern(int n, int lindex, OneBased<const int> index, const int* keep);
/// Returns whether pointers, counts, list members and children of the LU elements stay inside, in time
/// proportional to their length. `reals` is the length of the LU part of VALUE; if it is below 0, positions
/// in VALUE are not checked, because a refactorisation does not read the earlier reals.
bool elements_are_sound(OneBased<const int> index, Index lu_ints, Index top_end, int n, int nblks,
                        Wide reals);
/// Returns whether LU elements that are sound do not overlap and stand in the order in which they were
/// stored: those eliminated last have the lowest words. A replay writes into elements, and so changes no
/// other one.
bool elements_are_apart(OneBased<const int> index, Index lu_ints, Index top_end, int n, int nblks);
/// Returns whether all members of the permutations, the block starts, the off-diagonal part and the preserved
/// columns stay inside, in time proportional to their length.
bool vectors_are_sound(OneBased<const int> index, const KeptFactors& kept);

/// Views the LU elements of one block.
struct BlockFactors {
  OneBased<const int> ints;      // the words of the LU elements, from the block's header on
  OneBased<const double> reals;  // the LU part of VALUE
};
/// Solves L y = x, U y = x, U' y = x or L' y = x for one block, in place. x and `work` have the block's
/// order. Checks each element when it is reached. Returns false, with x partly overwritten, if an element
/// does not stay inside.
bool ma38_solve_l(const BlockFactors& block, OneBased<double> x, OneBased<double> work);
bool ma38_solve_u(const BlockFactors& block, OneBased<double> x, OneBased<double> work);
bool ma38_solve_ut(const BlockFactors& block, OneBased<double> x, OneBased<double> work);
bool ma38_solve_lt(const BlockFactors& block, OneBased<double> x, OneBased<double> work);

}  // namespace ma38
}  // namespace corvidnum
