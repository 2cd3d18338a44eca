#pragma once

// The sparse direct solver: analyse, factorise, solve. Callable from C and Fortran as it stands: every
// argument goes by address, arrays are numbered from 1, and every routine returns 0.

#include "frame/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Writes the defaults.
/// @param cntl  [5] out
/// @param icntl [9] out
CORVIDNUM_API int ma48id_(double* cntl, int* icntl);

/// Analyses a matrix given by coordinates: block triangular form and pivot sequence.
/// @param m, n  rows and columns
/// @param ne    entries given
/// @param job   1: choose permutations and pivots; 2: take the permutations that stand in `keep`; 3: take the
///              pivots from the diagonal
/// @param la    length of a, irn, jcn; at least 2 ne
/// @param a     [la] in: values of the entries; kept in a(1) .. a(ne), what is behind is scratch
/// @param irn   [la] in: row numbers; out: those of the permuted matrix. Entries out of range are dropped,
///              those given twice are summed
/// @param jcn   [la] in: column numbers; out: the place of each entry, for ma48bd_
/// @param keep  [m + 5 n + 4 min(m, n) + 7] out: the analysis; not to be changed before ma48bd_ and ma48cd_
/// @param cntl, icntl [5], [9] controls, see ma48id_
/// @param iw    [6 m + 3 n] work
/// @param info  [12] out; info(1): 0, an error below 0, or a sum of warnings
/// @param rinfo out: operations of the pivot choice
CORVIDNUM_API int ma48ad_(const int* m, const int* n, const int* ne, const int* job, const int* la, double* a,
                          int* irn, int* jcn, int* keep, const double* cntl, const int* icntl, int* iw,
                          int* info, double* rinfo);

/// Factorises the analysed matrix.
/// @param m, n, ne, la, keep as ma48ad_ left them
/// @param job   1: choose pivots by size within the sequence; 2: the same pivots as before; 3: begin with the
///              order of the previous factors
/// @param a     [la] in: values in the order of the entries given to ma48ad_; out: matrix and factors
/// @param irn, jcn [la] as ma48ad_ left them
/// @param w     [4 max(m, n)] work
/// @param iw    [6 m + 3 n] work
/// @param info  [12] out; info(1): 0, an error below 0, or 2 for a matrix of less than full rank
/// @param rinfo out: operations
CORVIDNUM_API int ma48bd_(const int* m, const int* n, const int* ne, const int* job, const int* la, double* a,
                          int* irn, const int* jcn, int* keep, const double* cntl, const int* icntl,
                          double* w, int* iw, int* info, double* rinfo);

/// Solves A x = b with the factors, or the transposed system.
/// @param trans 0: A x = b; else: the transposed system
/// @param job   1: solve; 2: and estimate the backward errors; 3: and refine; 4: and estimate the forward
///              error, if m = n
/// @param rhs   [m, or n if transposed] b; changed if job is above 1
/// @param x     [n, or m if transposed] out
/// @param error [3] out: backward errors of the two kinds of rows; estimate of the forward error
/// @param w     [4 max(m, n)] work
/// @param iw    [max(m, n)] work
/// @param info  [12] out; only info(1) is set
CORVIDNUM_API int ma48cd_(const int* m, const int* n, const int* trans, const int* job, const int* la,
                          const double* a, const int* irn, const int* keep, const double* cntl,
                          const int* icntl, double* rhs, double* x, double* error, double* w, int* iw,
                          int* info);

#ifdef __cplusplus
}
#endif
