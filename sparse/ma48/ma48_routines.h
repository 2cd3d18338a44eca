#pragma once

/// @file
/// The sparse direct solver: analyse, factorise, solve. Callable from C and Fortran as it stands: every
/// argument goes by address, arrays are numbered from 1, and every routine returns 0.
/// ma48_codes.h names the positions in the arrays and the statuses, and tells what each status leaves.

#include "frame/export.h"
#include "sparse/ma48/ma48_codes.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Writes the defaults of the controls.
/// @param cntl  [5] out
///   - (1) 0.5   density of the active submatrix from which on it is treated as full
///   - (2) 0.1   threshold of the pivot test, 0..1: larger is safer, smaller is sparser
///   - (3) 0.0   entries below this magnitude are dropped, if it is positive
///   - (4) 0.0   a pivot must exceed this magnitude
///   - (5) 0.5   refinement stops when the backward error fails to fall by this factor
/// @param icntl [9] out
///   - (1), (2), (3)  6, 6, 2: streams and level of the diagnostics, which go nowhere in this library
///   - (4) 3     columns searched for a pivot; 0: all, which is slow; 0 or less: rows are searched too
///   - (5) 32    block size of dense work; 1: level 2 kernels, less: level 1
///   - (6) 1     smallest block of the block triangular form; n or more: no such form
///   - (7) 1     not 0: a structurally singular matrix is an error; 0: it is factorised as one block
///   - (8) 0     not 0: iw of ma48ad_ names columns whose values will change
///   - (9) 10    most iterations of the refinement
CORVIDNUM_API int ma48id_(double* cntl, int* icntl);

/// Analyses a matrix given by coordinates: block triangular form and pivot sequence.
/// @param m, n  rows and columns
/// @param ne    entries given
/// @param job   1: choose permutations and pivots; 2: take the permutations that stand in `keep`; 3: take the
///              pivots from the diagonal
/// @param la    length of a, irn, jcn; at least 2 ne
/// @param a     [la] in: values of the entries; kept in a(1) .. a(ne), what is behind is scratch. After -3 or
///              -4 irn and jcn are spoilt: give the matrix anew before another try
/// @param irn   [la] in: row numbers; out: those of the permuted matrix. Entries out of range are dropped,
///              those given twice are summed
/// @param jcn   [la] in: column numbers; out: the place of each entry, for ma48bd_
/// @param keep  [m + 5 n + 4 min(m, n) + 7] out: the analysis; not to be changed before ma48bd_ and ma48cd_.
///              keep(i): the place of row i; keep(m+j): the column at place j; with job 2 these come in
/// @param cntl, icntl [5], [9] controls, see ma48id_
/// @param iw    [6 m + 3 n] work; in, if icntl(8) is not 0: iw(j) = 0 names column j as one whose values will
///              change; it is pivoted last in its block. With job 2 all columns from the first named one on
///              are taken as named. With jobs 1 and 3 the named columns are moved to the end of each block by
///              two pointers that meet; the column where they meet is not tested and counts as not named,
///              even if you named it
/// @param info  [12] out
///   - (1) 0; -1 m or n below 1; -2 ne below 1; -3 la too short, info(3) suffices for the next step;
///     -4 structurally singular; -5 faulty permutation with job 2; -6 job unknown;
///     or a sum of 1 duplicates or indices out of range, 2 rank deficient, 4 no diagonal pivot with job 3
///   - (2) compressions
///   - (3), (4) la needed here, and by ma48bd_
///   - (5) rank, estimated
///   - (6) entries dropped
///   - (7) order of the largest block that is not triangular
///   - (8), (9) orders and entries of all such blocks
///   - (10) structural rank
///   - (11) duplicates
///   - (12) entries out of range
/// @param rinfo out: operations of the pivot choice
CORVIDNUM_API int ma48ad_(const int* m, const int* n, const int* ne, const int* job, const int* la, double* a,
                          int* irn, int* jcn, int* keep, const double* cntl, const int* icntl, int* iw,
                          int* info, double* rinfo);

/// Factorises the analysed matrix.
/// @param m, n, ne, la, keep as ma48ad_ left them
/// @param job   1: choose pivots by size within the sequence; 2: the same pivots as before; 3: begin with the
///              order of the previous factors. If icntl(8) is not 0, jobs 2 and 3 may redo only the columns
///              that ma48ad_ took as named. Every other column must keep its values, also the one of each
///              block that counts as not named (see iw of ma48ad_): if they change, the factors are wrong and
///              no status tells. The same la and icntl(8) are then needed in every call since the last
///              success. Job 1 takes any values.
///              Job 2 does not check its accuracy: on values that have drifted by decades from those that
///              chose the pivots it may give useless factors, and ma48cd_ a useless x, with status 0 from
///              both. error(1:2) of ma48cd_ with job 2 or above shows it every time: then factorise with
///              job 1.
///              A column in which no pivot has a finite reciprocal (all are below 5.6e-309), or whose
///              elements or factors are not finite, gets no pivot: jobs 1 and 3 count it as null, which rank
///              and status tell. Job 2 ends with -7, but in the full part, where it chooses pivots as the
///              others do
/// @param a     [la] in: values in the order of the entries given to ma48ad_; out: matrix and factors
/// @param irn, jcn [la] as ma48ad_ left them
/// @param cntl, icntl [5], [9] controls, see ma48id_
/// @param w     [4 max(m, n)] work
/// @param iw    [6 m + 3 n] work
/// @param info  [12] out
///   - (1) 0; 2 less than full rank; -1, -2 as in ma48ad_; -3 la too short, see info(4);
///     -6 job unknown, or job above 1 although entries were dropped;
///     -7 a pivot fails with job 2, or keep, irn and jcn are not as the analysis left them, or, with jobs 2
///     and 3, not as the last factorisation did. Only the ranges of indices are tested: wrong ones within
///     their ranges give a wrong solution, but no access outside of the arrays
///   - (4) la needed
///   - (5) rank
///   - (6) entries dropped
/// @param rinfo out: operations
CORVIDNUM_API int ma48bd_(const int* m, const int* n, const int* ne, const int* job, const int* la, double* a,
                          int* irn, const int* jcn, int* keep, const double* cntl, const int* icntl,
                          double* w, int* iw, int* info, double* rinfo);

/// Solves A x = b with the factors, or the transposed system.
/// @param m, n, la, a, irn, keep as ma48bd_ left them
/// @param cntl, icntl [5], [9] controls, see ma48id_
/// @param trans 0: A x = b; else: the transposed system
/// @param job   1: solve; 2: and estimate the backward errors; 3: and refine; 4: and estimate the forward
///              error, if m = n. Job 3 does not add corrections: it replaces x by the solution for the
///              residual and restores the old x unless the new backward error is smaller. For ordinary
///              iterative refinement, solve for the residual with job 1 and add the result yourself
/// @param rhs   [m, or n if transposed] b; changed if job is above 1
/// @param x     [n, or m if transposed] out
/// @param error [3] out: componentwise backward errors omega1 and omega2, see MA48_Error; estimate of the
///              forward error
/// @param w     [4 max(m, n)] work
/// @param iw    [m] work
/// @param info  [12] out; only info(1) is set: 0; -1 m or n below 1; -6 job unknown; -7 keep or irn are not
///              what the factorisation left, tested as in ma48bd_; x is then unchanged; -8 icntl(9)
///              iterations did not converge, x is the last iterate; -9 no estimate of the forward error, as
///              the estimator did not end or the estimate is not finite; x and the backward errors are good
CORVIDNUM_API int ma48cd_(const int* m, const int* n, const int* trans, const int* job, const int* la,
                          const double* a, const int* irn, const int* keep, const double* cntl,
                          const int* icntl, double* rhs, double* x, double* error, double* w, int* iw,
                          int* info);

#ifdef __cplusplus
}
#endif
