#pragma once

// The kernels of the sparse direct solver. Every argument goes by address, arrays are numbered from 1, and
// every kernel returns 0. kernel_codes.h names the positions in their control and result arrays.

namespace corvidnum {

// ---- Graph kernels; the multifrontal solver uses them too.

/// Finds a maximum transversal: matches rows to columns of an n x n pattern, whose row j has the columns
/// icn(ip(j)) .. of lenr(j) places. iperm(i): the row matched to column i, negative for a false match; numnz:
/// the structural rank.
int ma48_matching(const int* n, const int* icn, const int* licn, const int* ip, const int* lenr, int* iperm,
                  int* numnz, int* pr, int* arp, int* cv, int* out);
int ma48_matching_entry(const int* n, const int* icn, const int* licn, const int* ip, const int* lenr,
                        int* iperm, int* numnz, int* iw);

/// Finds the strongly connected components of a directed graph in the same layout: ior(p) is the node at
/// place p, ib(c) the first place of component c, num their number.
int ma48_strong_components(const int* n, const int* icn, const int* licn, const int* ip, const int* lenr,
                           int* ior, int* ib, int* num, int* lowl, int* numb, int* prev);
int ma48_strong_components_entry(const int* n, const int* icn, const int* licn, const int* ip,
                                 const int* lenr, int* ior, int* ib, int* num, int* iw);

// ---- One block.

/// Writes the defaults of the kernels' controls.
int ma50id_(double* cntl, int* icntl);

/// Chooses the pivot sequence of an m x n block by the Markowitz cost under a threshold.
/// a, irn [la]: the ne entries by columns, none twice; column j begins at iq(j). jcn [la]: work.
/// iq, ifirst, lenc, lastc, nextc [n]; ip, jfirst, lenr, lastr, nextr, iw [m]. In, if icntl(7) is 2:
/// ifirst(k), the k-th column to pivot on, and ip, the priority of each row. Out, if info(1) is not below 0:
/// ip(i), the place of row i; iq(k), the column at place k; np, the columns to factorise sparsely, those
/// behind make up the full part. Else they are unset. cntl [4], icntl [7], info [7]; rinfo: operations of the
/// choice.
int MA50AD(const int* m, const int* n, const int* ne, const int* la, double* a, int* irn, int* jcn, int* iq,
           const double* cntl, const int* icntl, int* ip, int* np, int* jfirst, int* lenr, int* lastr,
           int* nextr, int* iw, int* ifirst, int* lenc, int* lastc, int* nextc, int* info, double* rinfo);

/// Factorises an m x n block by columns, in the order iq (null order: iq(1) = 0) with rows preferred by ip.
/// aa, irna [ne]: the block by columns, which begin at iptra [n]. ip [m], in: the place of each row; out: as
/// pivoted. np: the columns that go sparse, the others make up the full part. fact, irnf [lfact]: the
/// factors, columns that end at iptrl [n] and whose U parts end at iptru [n], and behind them the full part.
/// job: 1 choose pivots, 2 those of the factors held, 3 their order first. w [m], iw [m + 2 n]: work.
/// cntl [4], icntl [7], info [7]; rinfo: operations.
int MA50BD(const int* m, const int* n, const int* ne, const int* job, const double* aa, const int* irna,
           const int* iptra, const double* cntl, const int* icntl, int* ip, const int* iq, const int* np,
           const int* lfact, double* fact, int* irnf, int* iptrl, int* iptru, double* w, int* iw, int* info,
           double* rinfo);

/// Solves with the factors that MA50BD left of an m x n block, or the transposed system if trans is not 0.
/// b [m, or n transposed]: kept. x [n, or m transposed]: out. w [max(m, n)]: work. Sets info(1) to -1 if m
/// or n is below 1, else leaves it.
int MA50CD(const int* m, const int* n, const int* icntl, const int* iq, const int* np, const int* trans,
           const int* lfact, const double* fact, const int* irnf, const int* iptrl, const int* iptru,
           const double* b, double* x, double* w, int* info);

/// Factorises the full part by partial pivoting, with level 1, 2 and 3 BLAS. Columns without an acceptable
/// pivot go to the end.
int ma50_full_factor1(const int* m, const int* n, double* a, const int* lda, const double* pivtol, int* ipiv,
                      int* rank);
int ma50_full_factor2(const int* m, const int* n, double* a, const int* lda, const double* pivtol, int* ipiv,
                      int* rank);
int ma50_full_factor3(const int* m, const int* n, double* a, const int* lda, const int* nb,
                      const double* pivtol, int* ipiv, int* rank);

/// Solves with these factors, in place.
int ma50_full_solve(const int* trans, const int* m, const int* n, const double* a, const int* lda,
                    const int* ipiv, double* b, const int* icntl5);

// ---- All blocks.

/// Solves block by block, by substitution over the block triangular form. x: out; rhs is changed.
int ma48_block_solve(const int* n, const int* newne, const int* la, const double* fact, const double* a,
                     const int* irnf, const int* irn, const int* iptrd, const int* iptro, const int* nb,
                     const int* blocks, const int* iptrl, const int* iptru, double* rhs, double* x,
                     const int* trans, const int* icntl5, double* w);

/// Estimates the 1-norm of a matrix that the caller applies on request, until kase is 0.
int MC41AD(const int* n, int* kase, double* x, double* est, double* w, int* isgn);

}  // namespace corvidnum
