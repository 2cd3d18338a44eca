#pragma once

// Factorisation of one block, column by column. MA50BD in kernels.h is its by-address form.

#include <cstdint>

namespace corvidnum {

/// Arguments as of MA50BD. `ne` may be 0 here.
struct BlockToFactor {
  int m, n, ne, job;
  const double* aa;
  const int* irna;
  const int* iptra;
  const double* cntl;
  const int* icntl;
  int* ip;
  const int* iq;
  int np, lfact;
  double* fact;
  int* irnf;
  int* iptrl;
  int* iptru;
  double* w;
  int* iw;
  int* info;
  double* rinfo;
};

/// Places of FACT and IRNF that a run wrote to: 1 .. lowEnd and highBegin .. lfact.
struct PlacesUsed {
  std::int64_t lowEnd, highBegin;
};

/// Statuses of the kernel beside 0, 1 (less than full rank) and kSmallPivot - column.
enum BlockStatus {
  kBadSizes = -1,
  kNoEntries = -2,
  kFactorsTooLong = -3,
  kRepeatedEntry = -4,
  kBadBlockJob = -5,
  kAfterDropping = -6,
  kBadSparseColumns = -7,  // or previous factors that are none
  kSmallPivot = -7,
  kNotFinite = -7,  // factors on the same pivots as before
};

PlacesUsed factor_block(const BlockToFactor& block);

}  // namespace corvidnum
