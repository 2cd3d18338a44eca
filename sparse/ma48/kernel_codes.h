#pragma once

// Names for the arrays of the block kernels MA50AD, MA50BD and MA50CD. They are shorter than those of the
// ma48 routines: the leading positions are the same, the last ones differ.

#include "sparse/ma48/ma48_codes.h"

namespace corvidnum {

/// Positions in CNTL of the kernels.
enum KernelCntl {
  kDensity = MA48_CNTL_DENSITY,
  kThreshold = MA48_CNTL_THRESHOLD,
  kDropTolerance = MA48_CNTL_DROP_TOLERANCE,
  kPivotTolerance = MA48_CNTL_PIVOT_TOLERANCE,
};
/// Positions in ICNTL of the kernels.
enum KernelIcntl {
  kErrorStream = MA48_ICNTL_ERROR_STREAM,
  kWarningStream = MA48_ICNTL_WARNING_STREAM,
  kPrintLevel = MA48_ICNTL_PRINT_LEVEL,
  kSearchLimit = MA48_ICNTL_SEARCH_LIMIT,
  kDenseBlockSize = MA48_ICNTL_DENSE_BLOCK_SIZE,
  kLastColumns = 6,  ///< MA50AD: columns kept for last; MA50BD, JOB > 1: columns that have new values
  kPivotChoice = 7,  ///< MA50AD: a PivotChoice
};
/// Positions in INFO of the kernels.
enum KernelInfo {
  kStatus = MA48_INFO_STATUS,  ///< a KernelStatus
  kCompressions = MA48_INFO_COMPRESSIONS,
  kAnalysisLength = MA48_INFO_ANALYSIS_LENGTH,
  kFactorLength = MA48_INFO_FACTOR_LENGTH,
  kRank = MA48_INFO_RANK,
  kDropped = MA48_INFO_DROPPED,
  kFullPartRows = 7,
};
constexpr int kMa50CntlLength = 4;
constexpr int kMa50IcntlLength = 7;
constexpr int kMa50InfoLength = 7;

/// Values of ICNTL(7).
enum PivotChoice { kFreePivots = 0, kDiagonalPivots = 1, kGivenSequence = 2 };

/// Values of INFO(1) of the kernels. Some numbers mean different things in MA50AD and MA50BD.
enum KernelStatus {
  kBadSizes = -1,       // M or N is below 1
  kNoEntries = -2,      // NE is below 1
  kStoreTooShort = -3,  // INFO(3) or INFO(4) tells what would do
  kRepeatedEntry = -4,  // an entry is given twice
  // MA50AD
  kBadSequence = -5,     // the given sequence is no permutation
  kBadSearchLimit = -6,  // ICNTL(4) is not 1 with a given sequence
  // MA50BD
  kBadJob = -5,
  kAfterDropping = -6,     // JOB > 1 although the previous factors lack entries
  kBadSparseColumns = -7,  // NP is not within 0 .. N, or the previous factors are none
  kNotFinite = -7,         // JOB = 2: the factors have an element that is not finite
  kSmallPivot = -7,        // JOB = 2: -7 - j, where j is the column whose pivot is not acceptable
  // Success: 0, or a sum of these
  kRankDeficient = 1,
  kNoPivotLeft = 2,  // MA50AD: the diagonal, or the threshold, leaves no pivot
};

}  // namespace corvidnum
