#pragma once

// The multifrontal sparse solver: factorise, factorise again with the same pivots, solve. Callable from C and
// Fortran as it stands: every argument goes by address, arrays are numbered from 1, and every routine returns
// 0. The caller owns all storage: `value` and `index` take the matrix in, serve as work space and hold the
// factors. ma38_codes.h names the positions in the arrays and the statuses, and tells what each status
// leaves.

#include "frame/export.h"
#include "sparse/ma38/ma38_codes.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Writes the defaults of the controls.
/// @param keep  [20] out: (6) to (20); (1) to (5) are left
///   (7) 64    d1, and
///   (8) 1     d2: a column of more than max(0, d1, d2 sqrt(n)) entries is held as a dense one
/// @param cntl  [10] out
///   (1) 0.1   relative pivot tolerance, 0..1: larger is safer, smaller is sparser
///   (2) 2.0   growth allowed to a front over the size of its first pivot; 1 or less: none. On large cubes
///             1.2 takes a half to a quarter of the operations, on process models several times as many. Set
///             it only together with icntl(6) = 1 or cntl(1) = 0.5: alone it can cost all digits
///   (3) eps   machine epsilon of the error estimates of ma38cd_
/// @param icntl [20] out
///   (1), (2), (3)  6, 6, 2: units and level of the diagnostics, which go nowhere in this library
///   (4) 1     1: permute to block triangular form; else not
///   (5) 4     columns examined in the pivot search, at least 1
///   (6) 0     not 0: prefer pivots on the diagonal; keeps digits where it is large
///   (7) 16    pivots whose updates are applied at once, at least 1
///   (8) 0     most steps of iterative refinement in ma38cd_
CORVIDNUM_API int ma38id_(int* keep, double* cntl, int* icntl);

/// Analyses and factorises an n x n matrix, P A Q = L U.
/// @param n      order
/// @param ne     entries given
/// @param job    1: a copy of the matrix is kept with the factors, as refinement needs; else not
/// @param transa not 0: the transpose is factorised
/// @param lvalue length of `value`, at least 2 ne; info(21) tells what was needed
/// @param lindex length of `index`, at least max(2 ne, n + 1) + 2 n + ne + 1; info(19) tells what was needed
/// @param value  [lvalue] in: (1) to (ne) the entries; out: the factors, value(keep(1)) to value(keep(2))
/// @param index  [lindex] in: (1) to (ne) rows, (ne+1) to (2 ne) columns; entries out of 1..n are dropped,
///               those given twice are summed; out: the factors, index(keep(3)) to index(keep(5))
/// @param keep   [20] in: controls (7), (8); out: (1) to (5), where the factors are; zero after an error
/// @param cntl, icntl [10], [20] controls, see ma38id_
/// @param info   [40] out
///   (1) 0; -1 n below 1; -2 ne below 1 or no entry in range; -3 index too short; -4 value too short;
///       -5 both; or a sum of 1 entries out of range, 2 entries given twice, 4 singular
///   (2) entries summed        (3) entries out of range     (4) 0     (5) entries kept
///   (6), (7) of these in diagonal and off-diagonal blocks  (8) blocks of order 1   (9) blocks
///   (10) + (11) entries in L and U off the diagonal        (12) entries in the factors and off the blocks
///   (13) fronts   (14), (15) collections of garbage in index and value   (16) pivots on the diagonal
///   (17) pivots found; none whose reciprocal is infinite or with factors that are not finite
///   (18), (19) index used and needed   (20), (21) value used and needed: after -3, -4, -5 a call with these
///   lengths goes further, but may find out that it needs more, so that one more retry can follow
///   (22), (23) lengths of index and value that ma38bd_ needs
/// @param rinfo  [20] out: operations: (1) of BLAS in all, (2) assembly, (3) pivot search, (4), (5), (6) of
///               level 1, 2 and 3
CORVIDNUM_API int ma38ad_(const int* n, const int* ne, const int* job, const int* transa, const int* lvalue,
                          const int* lindex, double* value, int* index, int* keep, const double* cntl,
                          const int* icntl, int* info, double* rinfo);

/// Factorises another matrix of the same pattern with the pivot order of an earlier factorisation. Its
/// accuracy is not checked: values that have drifted by decades from those the pivots were chosen for give a
/// useless x with status 0. Refine, as rinfo(7) and (8) of ma38cd_ show it every time, and choose pivots anew
/// with ma38ad_ where they are large. Arguments as for ma38ad_, but for
/// @param value  [lvalue] in: the entries; the earlier factors' reals are not needed
/// @param index  [lindex] in: rows and columns at (1) to (2 ne), and index(keep(4)) to index(keep(5)) as the
///               earlier call left it; an entry may take its first word, no more: 2 ne at most keep(4)
/// @param lindex length of `index`, at least max(2 ne, n + 1) + 2 n + ne + 1 and the keep(5) - keep(4) + 1
///               words of the pattern
/// @param keep   [20] in: (4), (5); zero after an error, so whoever wants to try again keeps them, and the
///               words between
/// @param info   [40] out, as for ma38ad_, and
///   (1) -2 also: 2 ne above keep(4); -6 a pivot is zero, or it, its reciprocal or a factor is
///       not finite; -7 keep or index are no factorisation's
///   (4) entries dropped because the pattern has no place for them; (1) has 1 then
CORVIDNUM_API int ma38bd_(const int* n, const int* ne, const int* job, const int* transa, const int* lvalue,
                          const int* lindex, double* value, int* index, int* keep, const double* cntl,
                          const int* icntl, int* info, double* rinfo);

/// Solves with the factors.
/// @param n      order
/// @param job    1: P'L x = b; 2: U Q'x = b; else: A x = b
/// @param transc not 0: the transposed system; with a transposed factorisation the two change places
/// @param lvalue, lindex, value, index, keep as the factorisation left them; the arrays may be longer
/// @param b      [n] right-hand side
/// @param x      [n] out
/// @param w      [2 n, or 4 n if icntl(8) is above 0] work
/// @param cntl, icntl [10], [20] controls, see ma38id_
/// @param info   [40] out, only (1) and (24): 0; -7 keep or index are not what a factorisation left, x is
///               unchanged then; 8 no refinement: the matrix was not kept, or job is 1 or 2; (24) steps taken
/// @param rinfo  [20] out, only (7) and (8): backward errors omega1, omega2 if refinement was asked for; NaN
/// if
///               x or the residual is not finite
CORVIDNUM_API int ma38cd_(const int* n, const int* job, const int* transc, const int* lvalue,
                          const int* lindex, const double* value, const int* index, const int* keep,
                          const double* b, double* x, double* w, const double* cntl, const int* icntl,
                          int* info, double* rinfo);

#ifdef __cplusplus
}
#endif
