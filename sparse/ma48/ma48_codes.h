#pragma once

/// @file
/// Names for what the ma48 routines take and return: positions in their arrays, statuses, array lengths, and
/// queries about the blocks and the factors. Compiles as C and C++; corvidnum.f90 has the same names.
///
/// Positions count from 1, as in the routines' contract, so that a Fortran host writes info(MA48_INFO_RANK).
/// C and C++ hosts pass them to the accessors below, such as ma48_info(info, MA48_INFO_RANK), which subtract
/// the 1 and refuse the positions of another array (an error in C++, -Wenum-conversion in C); a position is
/// never used as a C subscript.

#include <stdint.h>

#include "frame/export.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---- Controls

/// Positions in CNTL.
enum MA48_Cntl {
  MA48_CNTL_DENSITY = 1,           ///< density from which on the active submatrix is treated as full
  MA48_CNTL_THRESHOLD = 2,         ///< threshold of the pivot test, 0..1
  MA48_CNTL_DROP_TOLERANCE = 3,    ///< entries below this magnitude are dropped, if it is positive
  MA48_CNTL_PIVOT_TOLERANCE = 4,   ///< magnitude that a pivot must exceed
  MA48_CNTL_REFINEMENT_FACTOR = 5  ///< refinement stops unless the backward error falls by this factor
};

/// Positions in ICNTL.
enum MA48_Icntl {
  MA48_ICNTL_ERROR_STREAM = 1,       ///< stream of the error messages, which go nowhere in this library
  MA48_ICNTL_WARNING_STREAM = 2,     ///< stream of the warnings and dumps, likewise
  MA48_ICNTL_PRINT_LEVEL = 3,        ///< level of these messages
  MA48_ICNTL_SEARCH_LIMIT = 4,       ///< columns searched for a pivot; 0 or less: rows are searched too
  MA48_ICNTL_DENSE_BLOCK_SIZE = 5,   ///< block size of the dense kernels; 1: level 2, less: level 1 BLAS
  MA48_ICNTL_SMALLEST_BLOCK = 6,     ///< smallest block of the block triangular form; n or more: no such form
  MA48_ICNTL_SINGULAR_IS_ERROR = 7,  ///< not 0: a structurally singular matrix is an error
  MA48_ICNTL_COLUMNS_LAST = 8,       ///< not 0: IW of ma48ad_ names columns to be pivoted last
  MA48_ICNTL_MOST_REFINEMENTS = 9    ///< most iterations of the refinement
};

/// JOB of ma48ad_.
enum MA48_AnalysisJob {
  MA48_ANALYSE_FREELY = 1,          ///< choose permutations and pivots
  MA48_ANALYSE_GIVEN_ORDER = 2,     ///< take the permutations that stand in KEEP
  MA48_ANALYSE_DIAGONAL_PIVOTS = 3  ///< take the pivots from the diagonal
};

/// JOB of ma48bd_.
enum MA48_FactorJob {
  MA48_FACTOR_FREELY = 1,       ///< choose pivots by size within the sequence of the analysis
  MA48_FACTOR_SAME_PIVOTS = 2,  ///< take the pivots and the fill of the previous factors
  MA48_FACTOR_SAME_ORDER = 3    ///< choose pivots, beginning with the row order of the previous factors
};

/// JOB of ma48cd_.
enum MA48_SolveJob {
  MA48_SOLVE_ONLY = 1,             ///< solve
  MA48_SOLVE_BACKWARD_ERRORS = 2,  ///< and compute the backward errors
  MA48_SOLVE_REFINE = 3,           ///< and refine iteratively
  MA48_SOLVE_FORWARD_ERROR = 4     ///< and estimate the forward error, if m = n
};

// ---- Results

/// Positions in INFO. ma48ad_ sets all of them; ma48bd_ sets STATUS, FACTOR_LENGTH, RANK and DROPPED; ma48cd_
/// sets STATUS. After a fault in the arguments only STATUS is set and, with MA48_STATUS_TOO_SHORT, the
/// length. The others stay as an earlier call left them.
enum MA48_Info {
  MA48_INFO_STATUS = 1,            ///< MA48_STATUS_OK, another MA48_Status, or a sum of MA48_Warning
  MA48_INFO_COMPRESSIONS = 2,      ///< times that the lists of the pivot choice were compressed to make room
  MA48_INFO_ANALYSIS_LENGTH = 3,   ///< LA that the analysis needs
  MA48_INFO_FACTOR_LENGTH = 4,     ///< LA that the factorisation needs
  MA48_INFO_RANK = 5,              ///< rank: an estimate by ma48ad_, the pivots found by ma48bd_
  MA48_INFO_DROPPED = 6,           ///< entries below the drop tolerance that were dropped
  MA48_INFO_LARGEST_BLOCK = 7,     ///< order of the largest block that is not triangular
  MA48_INFO_GENERAL_ORDER = 8,     ///< sum of the orders of the blocks that are not triangular
  MA48_INFO_GENERAL_ENTRIES = 9,   ///< entries of the matrix in these blocks
  MA48_INFO_STRUCTURAL_RANK = 10,  ///< structural rank; min(m, n) where no block form was tried
  MA48_INFO_DUPLICATES = 11,       ///< entries that were summed with an earlier one in their place
  MA48_INFO_OUT_OF_RANGE = 12      ///< entries that were left out because of their indices
};

/// Positions in ERROR of ma48cd_. JOB above 1 sets all of them.
enum MA48_Error {
  MA48_ERROR_OMEGA1 = 1,  ///< componentwise backward error of the rows of category 1
  MA48_ERROR_OMEGA2 = 2,  ///< that of category 2: rows whose |b| + |A||x| is at the level of rounding
  MA48_ERROR_FORWARD = 3  ///< estimate of the forward error, relative to the largest |x|; 0 unless JOB = 4
};

/// INFO(1) where it is not above 0, and what the call leaves. "Fault in the arguments" means that the arrays,
/// but for INFO and IW, are as they came in.
enum MA48_Status {
  /// ma48ad_: KEEP, IRN, JCN are the analysis and A(1) .. A(NE) the values given. ma48bd_: A, IRN, KEEP hold
  /// the factors. ma48cd_: X is the solution.
  MA48_STATUS_OK = 0,
  /// All: M or N is below 1. Fault in the arguments.
  MA48_STATUS_BAD_ORDER = -1,
  /// ma48ad_, ma48bd_: NE is below 1. Fault in the arguments.
  MA48_STATUS_BAD_ENTRY_COUNT = -2,
  /// LA is too short. ma48ad_: IRN, JCN and KEEP are spoilt and A(1) .. A(NE) is not; lengthen the arrays to
  /// INFO(3) at the least, which need not be enough yet, and give the matrix anew. ma48bd_: there are no
  /// factors but the analysis stands; lengthen A, IRN and JCN to INFO(4), keeping IRN(1) .. IRN(NE) and
  /// JCN(1) .. JCN(NE), give the values anew, and call with JOB = 1.
  MA48_STATUS_TOO_SHORT = -3,
  /// ma48ad_: the matrix is structurally singular, INFO(10) is its structural rank. IRN, JCN and KEEP are
  /// spoilt. With ICNTL(7) = 0 such a matrix is analysed.
  MA48_STATUS_STRUCTURALLY_SINGULAR = -4,
  /// ma48ad_, JOB = 2: KEEP does not begin with two permutations. Fault in the arguments.
  MA48_STATUS_BAD_PERMUTATION = -5,
  /// JOB is unknown: fault in the arguments. ma48bd_ also: JOB is above 1 and entries were dropped before;
  /// JOB = 3 leaves the previous factors, JOB = 2 may have spoilt them. Call with JOB = 1 and the values
  /// anew.
  MA48_STATUS_BAD_JOB = -6,
  /// ma48bd_: KEEP is not what the analysis left or, with JOB above 1, A, IRN and KEEP hold no factors: fault
  /// in the arguments; or with JOB = 2 a pivot fails, which spoils the factors and leaves the analysis: call
  /// with JOB = 1 and the values anew. ma48cd_: KEEP, IRN and LA describe no factors; X is unchanged.
  MA48_STATUS_INCOMPATIBLE = -7,
  /// ma48cd_: the refinement did not converge within ICNTL(9) iterations. X is the last iterate and ERROR(1),
  /// ERROR(2) its errors; with ICNTL(9) below 1, X and ERROR are zero. The factors stand.
  MA48_STATUS_NOT_CONVERGED = -8,
  /// ma48cd_: the estimator of the forward error did not end, or the estimate is not finite. X, ERROR(1) and
  /// ERROR(2) are good, ERROR(3) is finite but too small by what is missing. The factors stand.
  MA48_STATUS_NO_FORWARD_ERROR = -9
};

/// Summed in INFO(1) if the call was a success; test for one by ma48_warned().
enum MA48_Warning {
  MA48_WARNING_ENTRIES = 1,           ///< ma48ad_: entries were summed (INFO(11)) or out of range (INFO(12))
  MA48_WARNING_RANK_DEFICIENT = 2,    ///< the rank is INFO(5); x gets 0 where a column has no pivot
  MA48_WARNING_NO_DIAGONAL_PIVOT = 4  ///< ma48ad_, JOB = 3: some pivots are not on the diagonal
};

// ---- Array lengths

/// Lengths of the arrays that do not depend on the matrix.
enum MA48_Length {
  MA48_CNTL_LENGTH = 5,   ///< of CNTL
  MA48_ICNTL_LENGTH = 9,  ///< of ICNTL
  MA48_INFO_LENGTH = 12,  ///< of INFO
  MA48_ERROR_LENGTH = 3   ///< of ERROR
};

/// Returns the length of KEEP.
static inline int64_t ma48_keep_length(int m, int n) {
  const int64_t rows = m, columns = n;
  return rows + 5 * columns + 4 * (rows < columns ? rows : columns) + 7;
}
/// Returns the length of IW of ma48ad_ and ma48bd_, which is enough for ma48cd_.
static inline int64_t ma48_iw_length(int m, int n) { return INT64_C(6) * m + INT64_C(3) * n; }
/// Returns the length of W of ma48bd_ and ma48cd_.
static inline int64_t ma48_w_length(int m, int n) { return INT64_C(4) * (m > n ? m : n); }

// ---- Accessors

/// Returns an element of CNTL.
static inline double ma48_cntl(const double* cntl, enum MA48_Cntl position) { return cntl[position - 1]; }
/// Returns an element of ICNTL.
static inline int ma48_icntl(const int* icntl, enum MA48_Icntl position) { return icntl[position - 1]; }
/// Returns an element of INFO.
static inline int ma48_info(const int* info, enum MA48_Info position) { return info[position - 1]; }
/// Returns an element of ERROR.
static inline double ma48_error(const double* error, enum MA48_Error position) { return error[position - 1]; }
/// Sets an element of CNTL.
static inline void ma48_set_cntl(double* cntl, enum MA48_Cntl position, double value) {
  cntl[position - 1] = value;
}
/// Sets an element of ICNTL.
static inline void ma48_set_icntl(int* icntl, enum MA48_Icntl position, int value) {
  icntl[position - 1] = value;
}
/// Returns 1 if INFO(1) is a sum with this warning, else 0; an error has no warnings.
static inline int ma48_warned(const int* info, enum MA48_Warning warning) {
  const int64_t status = ma48_info(info, MA48_INFO_STATUS), bit = warning;
  return status > 0 && (status & bit) != 0;
}

// ---- Queries

/// Counts the blocks of the block triangular form that ma48ad_ found, and describes them.
/// @param m, n    rows and columns
/// @param keep    as ma48ad_ or ma48bd_ left it
/// @param orders  [n] out: (b) the order of block b; may be null
/// @param sparse_columns [n] out: (b) is negative if block b is triangular, and then its entries are its
///                factors; else how many of its columns are factorised as sparse ones, the others form a full
///                matrix. ma48bd_ may turn a triangular block into a general one. May be null
/// @return the number of blocks, 1 if m differs from n; MA48_STATUS_BAD_ORDER; or, with nothing written,
///         MA48_STATUS_INCOMPATIBLE if KEEP holds no analysis
CORVIDNUM_API int ma48blocks_(const int* m, const int* n, const int* keep, int* orders, int* sparse_columns);

/// Counts the entries of the factors, which is what a solve goes through: those of L and U in the general
/// blocks (the full parts count whole), those of the triangular blocks and those off the diagonal blocks.
/// @param m, n, la, irn, keep  as ma48bd_ left them
/// @return the entries; MA48_STATUS_BAD_ORDER; or MA48_STATUS_INCOMPATIBLE if these arrays hold no factors
CORVIDNUM_API int64_t ma48entries_(const int* m, const int* n, const int* la, const int* irn,
                                   const int* keep);

#ifdef __cplusplus
}
#endif
