#pragma once

/// @file
/// The unsymmetric multifrontal solver: set the defaults, factorise, factorise again with the same pivots,
/// solve.
///
/// Callable from C and Fortran as it stands: every argument goes by address, arrays are numbered from 1, and
/// every routine returns 0; INFO(1) tells how the call ended. The caller owns all storage: VALUE and INDEX
/// bring the matrix in, serve as work space and hold the factors. ma38_codes.h names the positions in the
/// arrays and the statuses, and tells what each status leaves; docs/multifrontal-store.md draws VALUE and
/// INDEX.

#include "frame/export.h"
#include "sparse/ma38/ma38_codes.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Writes the defaults of the controls.
/// @param keep  [20] out: (6) to (20); (1) to (5), which tell where factors are, stay as they are
///   - (7) 64    d1, and
///   - (8) 1     d2: a column of more than max(0, d1, d2 sqrt(n)) entries is held as a dense one
/// @param cntl  [10] out
///   - (1) 0.1   threshold of the pivot test, relative to the largest entry of the column, 0..1: larger is
///     safer, smaller is sparser
///   - (2) 2.0   limit of a front's dimensions, relative to those at its first pivot; 1 or less: no growth.
///   On
///     large cubes 1.2 needs a half to a quarter of the operations, on process models several times
///     as many. Set it only together with icntl(6) = 1 or cntl(1) = 0.5: alone it can cost all digits
///   - (3) eps   machine epsilon, for the error estimates of ma38cd_
/// @param icntl [20] out
///   - (1), (2), (3)  6, 6, 2: units and level of the diagnostics, which go nowhere in this library
///   - (4) 1     1: permute to block triangular form; else not
///   - (5) 4     columns examined in the pivot search, at least 1
///   - (6) 0     not 0: prefer pivots on the diagonal, which keeps digits where the diagonal is large
///   - (7) 16    pivots whose updates are applied at once by the level 3 BLAS, at least 1
///   - (8) 0     most steps of iterative refinement in ma38cd_
CORVIDNUM_API int ma38id_(int* keep, double* cntl, int* icntl);

/// Analyses and factorises an n x n matrix: P A Q = L U, with threshold pivoting.
/// @param n      order
/// @param ne     number of entries given
/// @param job    1: a copy of the matrix is kept with the factors, as refinement needs; else not
/// @param transa not 0: the transpose is factorised
/// @param lvalue length of `value`, at least 2 ne; see info(21)
/// @param lindex length of `index`, at least max(2 ne, n + 1) + 2 n + ne + 1; see info(19) and (21)
/// @param value  [lvalue] in: (1) to (ne) the entries; out: the factors, value(keep(1)) to value(keep(2))
/// @param index  [lindex] in: (1) to (ne) the rows, (ne+1) to (2 ne) the columns of the entries. An entry
///               whose row or column is not in 1..n is dropped; entries in the same place are summed.
///               out: the factors, index(keep(3)) to index(keep(5))
/// @param keep   [20] in: controls (7), (8); out: (1) to (5), where the factors are; zero after an error
/// @param cntl, icntl [10], [20] controls, see ma38id_
/// @param info   [40] out
///   - (1)  0; -1: n below 1; -2: ne below 1 or no entry in range; -3: index too short; -4: value too short;
///     -5: both; or a sum of the warnings 1: entries out of range, 2: entries given twice, 4: singular
///   - (2)  entries summed with an earlier one
///   - (3)  entries out of range
///   - (4)  0
///   - (5)  entries of the matrix, duplicates summed
///   - (6)  of these, in diagonal blocks
///   - (7)  of these, off the diagonal blocks
///   - (8)  blocks of order 1
///   - (9)  blocks
///   - (10) and (11), in sum only: entries of L and U off the diagonal
///   - (12) entries of the factors, with those off the diagonal blocks
///   - (13) fronts
///   - (14) garbage collections in index
///   - (15) garbage collections in value
///   - (16) pivots on the diagonal
///   - (17) pivots found; a pivot whose reciprocal, or whose column of factors, is not finite does not count
///   - (18) largest part of index used
///   - (19) length of index needed
///   - (20) largest part of value used
///   - (21) length of value needed. After -3, -4 or -5 a call with the lengths (19) and (21) gets further,
///   but
///     may find that it needs more: retry until another status comes
///   - (22) length of index that ma38bd_ needs
///   - (23) length of value that ma38bd_ needs
/// @param rinfo  [20] out: operations: (1) of the BLAS in all, (2) of the assembly, (3) of the pivot search,
///               (4), (5), (6) of level 1, 2 and 3 of the BLAS
CORVIDNUM_API int ma38ad_(const int* n, const int* ne, const int* job, const int* transa, const int* lvalue,
                          const int* lindex, double* value, int* index, int* keep, const double* cntl,
                          const int* icntl, int* info, double* rinfo);

/// Factorises another matrix of the same pattern with the pivot order of an earlier factorisation.
///
/// No pivot is tested for its size, so element growth is not bounded: if the values have drifted by decades
/// from those that the pivots were chosen for, x can be useless although the status is 0. Refine, so that
/// rinfo(7) and (8) of ma38cd_ show the backward error of every solution, and choose new pivots by ma38ad_
/// where it is large.
/// @param n, ne, job, transa, lvalue, cntl, icntl, rinfo as for ma38ad_
/// @param value  [lvalue] in: the entries; the reals of the earlier factors are not needed
/// @param index  [lindex] in: rows and columns at (1) to (2 ne), and index(keep(4)) to index(keep(5)) as the
///               earlier call left it. 2 ne may be keep(4) at most; at that limit the last column number lies
///               on the first word of the pattern, which is not read
/// @param lindex length of `index`, at least max(2 ne, n + 1) + 2 n + ne + 1 and in addition the
///               keep(5) - keep(4) + 1 words of the pattern
/// @param keep   [20] in: (4), (5). They are zero after an error: to call ma38bd_ again, save them and the
///               words between them before the call
/// @param info   [40] out, as for ma38ad_, but
///   - (1) also -2: 2 ne above keep(4); -6: a pivot is zero, or a pivot, its reciprocal or a factor is
///   infinite
///     or NaN, except in a block of order 1: such a block becomes 1 as in ma38ad_, with the warning 4;
///     -7: keep and index do not hold a factorisation of order n
///   - (4) entries dropped because the pattern has no place for them; (1) then has the warning 1
CORVIDNUM_API int ma38bd_(const int* n, const int* ne, const int* job, const int* transa, const int* lvalue,
                          const int* lindex, double* value, int* index, int* keep, const double* cntl,
                          const int* icntl, int* info, double* rinfo);

/// Solves A x = b or A' x = b with the factors, or with one of them alone, and refines x if asked to.
/// @param n      order
/// @param job    1: P'L x = b; 2: U Q'x = b; else: A x = b
/// @param transc not 0: the transposed system; if the transpose was factorised, A and A' change places
/// @param lvalue, lindex, value, index, keep as the factorisation left them; the arrays may be longer
/// @param b      [n] right-hand side
/// @param x      [n] out: solution
/// @param w      [2 n, or 4 n if icntl(8) is above 0] work
/// @param cntl, icntl [10], [20] controls, see ma38id_
/// @param info   [40] out, only (1) and (24)
///   - (1)  0; -7: keep, index or value are not what a factorisation of order n left, and x is unchanged;
///     8: not refined, because the matrix was not kept or because job is 1 or 2
///   - (24) steps of iterative refinement taken
/// @param rinfo  [20] out, only (7) and (8): the componentwise backward errors omega1 and omega2, 0 without
///               refinement; NaN if x or the residual is not finite
CORVIDNUM_API int ma38cd_(const int* n, const int* job, const int* transc, const int* lvalue,
                          const int* lindex, const double* value, const int* index, const int* keep,
                          const double* b, double* x, double* w, const double* cntl, const int* icntl,
                          int* info, double* rinfo);

#ifdef __cplusplus
}
#endif
