#pragma once

/// @file
/// Names for what the ma38 routines take and return: positions in their arrays, statuses, array lengths, and
/// a query about the blocks. Compiles as C and C++; corvidnum.f90 has the same names.
///
/// Positions count from 1, as in the routines' contract, so that a Fortran host writes
/// info(MA38_INFO_PIVOTS). C and C++ hosts pass them to the accessors below, such as ma38_info(info,
/// MA38_INFO_PIVOTS), which subtract the 1 and refuse the positions of another array (an error in C++,
/// -Wenum-conversion in C); a position is never used as a C subscript.

#include <stdint.h>

#include "frame/export.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---- Controls

/// Positions in CNTL. The others are reserved.
enum MA38_Cntl {
  MA38_CNTL_THRESHOLD = 1,  ///< threshold of the pivot test, relative to the column's largest magnitude, 0..1
  MA38_CNTL_GROWTH = 2,     ///< limit of a front's dimensions, relative to those at its first pivot
  MA38_CNTL_EPSILON = 3     ///< machine epsilon of the error estimates of ma38cd_
};

/// Positions in ICNTL. The others are reserved.
enum MA38_Icntl {
  MA38_ICNTL_ERROR_UNIT = 1,       ///< unit of errors and warnings, which go nowhere in this library
  MA38_ICNTL_DUMP_UNIT = 2,        ///< unit of the dumps of the arguments, which go nowhere either
  MA38_ICNTL_PRINT_LEVEL = 3,      ///< level of errors, warnings and dumps
  MA38_ICNTL_USE_BLOCKS = 4,       ///< 1: permute to block triangular form; else not
  MA38_ICNTL_SEARCH_WIDTH = 5,     ///< columns examined in the pivot search
  MA38_ICNTL_PREFER_DIAGONAL = 6,  ///< not 0: prefer pivots on the diagonal
  MA38_ICNTL_BLOCK_SIZE = 7,       ///< pivots whose updates are applied at once
  MA38_ICNTL_MOST_REFINEMENTS = 8  ///< most steps of iterative refinement in ma38cd_
};

/// Positions in KEEP: where the factors are, and two controls of ma38ad_. The others are reserved.
enum MA38_Keep {
  MA38_KEEP_VALUE_BEGIN = 1,    ///< first element of the factors in VALUE
  MA38_KEEP_VALUE_END = 2,      ///< last element of the factors in VALUE
  MA38_KEEP_INDEX_BEGIN = 3,    ///< first word of the factors in INDEX
  MA38_KEEP_PATTERN_BEGIN = 4,  ///< first word of the pattern for ma38bd_, which ends at INDEX_END
  MA38_KEEP_INDEX_END = 5,      ///< last word of the factors in INDEX
  MA38_KEEP_DENSE1 = 7,         ///< control d1 of the limit of dense columns, see DENSE2
  MA38_KEEP_DENSE2 = 8          ///< d2: columns of over max(0, d1, d2 sqrt(n)) entries are held as dense ones
};

/// Values of JOB of ma38ad_ and ma38bd_.
enum MA38_FactorJob {
  MA38_FACTOR_ONLY = 0,        ///< the matrix is not kept, nor can a solution be refined
  MA38_FACTOR_KEEP_MATRIX = 1  ///< a copy of the matrix is kept with the factors
};

/// Values of JOB of ma38cd_; TRANSC asks for the transposed system of each.
enum MA38_SolveJob {
  MA38_SOLVE_WHOLE = 0,  ///< A x = b
  MA38_SOLVE_LOWER = 1,  ///< P'L x = b
  MA38_SOLVE_UPPER = 2   ///< U Q'x = b
};

// ---- Results

/// Positions in INFO. ma38ad_ and ma38bd_ begin with zeros in all of it and set all but REFINEMENTS; ma38cd_
/// sets STATUS and REFINEMENTS and leaves the others.
enum MA38_Info {
  MA38_INFO_STATUS = 1,            ///< MA38_STATUS_OK, another MA38_Status, or a sum of MA38_Warning
  MA38_INFO_DUPLICATES = 2,        ///< entries that were summed with an earlier one in their place
  MA38_INFO_INVALID = 3,           ///< entries left out because their indices are not in 1..n
  MA38_INFO_NOT_IN_PATTERN = 4,    ///< ma38bd_: entries left out because the pattern has no place for them
  MA38_INFO_ENTRIES = 5,           ///< entries of the matrix, duplicates summed and invalid ones left out
  MA38_INFO_DIAGONAL_ENTRIES = 6,  ///< of these, entries in diagonal blocks
  MA38_INFO_OFF_DIAGONAL_ENTRIES = 7,  ///< and entries off the diagonal blocks
  MA38_INFO_SINGLETONS = 8,            ///< blocks of order 1
  MA38_INFO_BLOCKS = 9,                ///< blocks of the block triangular form; 1 without it
  MA38_INFO_ENTRIES_IN_L = 10,        ///< its sum with ENTRIES_IN_U counts L and U off the diagonal; alone it
  MA38_INFO_ENTRIES_IN_U = 11,        ///< means nothing, because each of the two counts parts of both factors
  MA38_INFO_FACTOR_ENTRIES = 12,      ///< entries of L + U, diagonal included, and off the diagonal blocks
  MA38_INFO_FRONTS = 13,              ///< frontal matrices
  MA38_INFO_INDEX_COLLECTIONS = 14,   ///< garbage collections in INDEX
  MA38_INFO_VALUE_COLLECTIONS = 15,   ///< garbage collections in VALUE
  MA38_INFO_DIAGONAL_PIVOTS = 16,     ///< pivots on the diagonal of the matrix
  MA38_INFO_PIVOTS = 17,              ///< pivots found: the rank
  MA38_INFO_INDEX_USED = 18,          ///< largest part of INDEX in use, at most LINDEX
  MA38_INFO_INDEX_NEEDED = 19,        ///< LINDEX that is needed, as far as the call got
  MA38_INFO_VALUE_USED = 20,          ///< largest part of VALUE in use, at most LVALUE
  MA38_INFO_VALUE_NEEDED = 21,        ///< LVALUE that is needed, as far as the call got
  MA38_INFO_INDEX_FOR_REFACTOR = 22,  ///< LINDEX that ma38bd_ needs
  MA38_INFO_VALUE_FOR_REFACTOR = 23,  ///< LVALUE that ma38bd_ needs
  MA38_INFO_REFINEMENTS = 24          ///< ma38cd_: steps of iterative refinement taken
};

/// Positions in RINFO. ma38ad_ and ma38bd_ count operations and set the others to 0; ma38cd_ sets OMEGA1 and
/// OMEGA2, which stay 0 without refinement.
enum MA38_Rinfo {
  MA38_RINFO_BLAS_FLOPS = 1,      ///< sum of the three levels
  MA38_RINFO_ASSEMBLY_FLOPS = 2,  ///< additions of the assembly
  MA38_RINFO_SEARCH_FLOPS = 3,    ///< operations of the pivot search
  MA38_RINFO_LEVEL1_FLOPS = 4,    ///< operations of the level 1 BLAS
  MA38_RINFO_LEVEL2_FLOPS = 5,    ///< operations of the level 2 BLAS
  MA38_RINFO_LEVEL3_FLOPS = 6,    ///< operations of the level 3 BLAS
  MA38_RINFO_OMEGA1 = 7,  ///< componentwise backward error over the rows whose |A||x| + |b| is significant
  MA38_RINFO_OMEGA2 = 8   ///< that over the other rows, where this sum is at the level of rounding
};

/// Values of INFO(1) that are not above 0. After an error of ma38ad_ or ma38bd_ there are no factors: KEEP(1)
/// to KEEP(5) are zero, so that ma38cd_ refuses them, and VALUE and INDEX may be overwritten, so that the
/// entries must be given anew. To call ma38bd_ again a host needs KEEP(4), KEEP(5) and the words between them
/// from before the call. The controls are never changed. ma38cd_ changes neither the factors nor B.
enum MA38_Status {
  /// ma38ad_, ma38bd_: the factors are VALUE(KEEP(1)) .. VALUE(KEEP(2)) and INDEX(KEEP(3)) .. INDEX(KEEP(5)).
  /// ma38cd_: X is the solution.
  MA38_STATUS_OK = 0,
  /// ma38ad_, ma38bd_: N is below 1.
  MA38_STATUS_BAD_ORDER = -1,
  /// ma38ad_, ma38bd_: NE is below 1 or no entry is in range. ma38bd_ also: 2 NE is above KEEP(4), so that
  /// the entries overlap the pattern; lengthen INDEX, and move the pattern up, with KEEP(4), KEEP(5).
  MA38_STATUS_BAD_ENTRY_COUNT = -2,
  /// ma38ad_, ma38bd_: INDEX is too short; lengthen it to INFO(19) at least. The next call may need more.
  MA38_STATUS_INDEX_TOO_SHORT = -3,
  /// ma38ad_, ma38bd_: VALUE is too short; lengthen it to INFO(21) at least. The next call may need more.
  MA38_STATUS_VALUE_TOO_SHORT = -4,
  /// ma38ad_, ma38bd_: both are too short.
  MA38_STATUS_BOTH_TOO_SHORT = -5,
  /// ma38bd_: with these values a pivot is zero, or a pivot, its reciprocal or a factor is not finite; call
  /// ma38ad_, which chooses new pivots. A block of order 1 whose element is no usable pivot becomes 1
  /// instead, with the warning MA38_WARNING_SINGULAR.
  MA38_STATUS_PIVOT_ORDER_FAILED = -6,
  /// ma38bd_, ma38cd_: KEEP, INDEX or VALUE are not what a factorisation of order N left. ma38cd_ leaves X
  /// unchanged.
  MA38_STATUS_CORRUPTED = -7
};

/// Warnings of a successful call, which INFO(1) sums; ma38_warned() tests for one. The factors can be used.
enum MA38_Warning {
  MA38_WARNING_ENTRIES = 1,       ///< entries were left out, see INFO(3) and INFO(4)
  MA38_WARNING_DUPLICATES = 2,    ///< INFO(2) entries were summed
  MA38_WARNING_SINGULAR = 4,      ///< only INFO(17) pivots were found, so a solution is arbitrary in part
  MA38_WARNING_NO_REFINEMENT = 8  ///< ma38cd_: not refined, as the matrix was not kept or JOB is 1 or 2
};

// ---- Array lengths

/// Lengths of the arrays that do not depend on the matrix.
enum MA38_Length {
  MA38_CNTL_LENGTH = 10,   ///< of CNTL
  MA38_ICNTL_LENGTH = 20,  ///< of ICNTL
  MA38_KEEP_LENGTH = 20,   ///< of KEEP
  MA38_INFO_LENGTH = 40,   ///< of INFO
  MA38_RINFO_LENGTH = 20   ///< of RINFO
};

/// Returns the least LINDEX of ma38ad_. A factorisation needs more: 10 ne + 40 n + 100 is a good start.
static inline int64_t ma38_least_index_length(int n, int ne) {
  const int64_t triplets = INT64_C(2) * ne, pointers = INT64_C(1) + n;
  return (triplets > pointers ? triplets : pointers) + INT64_C(2) * n + ne + 1;
}
/// Returns the least LVALUE of ma38ad_. A factorisation needs more: 6 ne + n is a good start.
static inline int64_t ma38_least_value_length(int ne) { return INT64_C(2) * ne; }
/// Returns the length of W of ma38cd_, of which half is enough if ICNTL(8) is not above 0.
static inline int64_t ma38_w_length(int n) { return INT64_C(4) * n; }

// ---- Accessors

/// Returns an element of CNTL.
static inline double ma38_cntl(const double* cntl, enum MA38_Cntl position) { return cntl[position - 1]; }
/// Returns an element of ICNTL.
static inline int ma38_icntl(const int* icntl, enum MA38_Icntl position) { return icntl[position - 1]; }
/// Returns an element of KEEP.
static inline int ma38_keep(const int* keep, enum MA38_Keep position) { return keep[position - 1]; }
/// Returns an element of INFO.
static inline int ma38_info(const int* info, enum MA38_Info position) { return info[position - 1]; }
/// Returns an element of RINFO.
static inline double ma38_rinfo(const double* rinfo, enum MA38_Rinfo position) { return rinfo[position - 1]; }
/// Sets an element of CNTL.
static inline void ma38_set_cntl(double* cntl, enum MA38_Cntl position, double value) {
  cntl[position - 1] = value;
}
/// Sets an element of ICNTL.
static inline void ma38_set_icntl(int* icntl, enum MA38_Icntl position, int value) {
  icntl[position - 1] = value;
}
/// Sets an element of KEEP.
static inline void ma38_set_keep(int* keep, enum MA38_Keep position, int value) {
  keep[position - 1] = value;
}
/// Returns 1 if INFO(1) is a sum with this warning, else 0; an error has no warnings.
static inline int ma38_warned(const int* info, enum MA38_Warning warning) {
  const int64_t status = ma38_info(info, MA38_INFO_STATUS), bit = warning;
  return status > 0 && (status & bit) != 0;
}

// ---- Query

/// Counts the blocks of the block triangular form of the factors, and tells their orders. INFO(8), INFO(9),
/// INFO(12) and INFO(16) tell the blocks of order 1, the blocks, the entries of the factors and the pivots on
/// the diagonal.
/// @param n, lindex, index, keep  as ma38ad_ or ma38bd_ left them; INDEX may be longer
/// @param orders  [n] out: (b) the order of block b; may be null
/// @return the number of blocks, 1 if no block form was asked for; MA38_STATUS_BAD_ORDER; or, with nothing
///         written, MA38_STATUS_CORRUPTED if KEEP and INDEX hold no factors of this order
CORVIDNUM_API int ma38blocks_(const int* n, const int* lindex, const int* index, const int* keep,
                              int* orders);

#ifdef __cplusplus
}
#endif
