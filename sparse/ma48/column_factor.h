#pragma once

// Factorisation of one block, column by column. MA50BD in kernels.h is its by-address form.

#include <cstdint>

namespace corvidnum {

/// Arguments of factor_block(), as of MA50BD in kernels.h. `ne` may be 0 here.
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

/// Tells which places of FACT and IRNF a run wrote to: 1 .. lowEnd and highBegin .. lfact.
struct PlacesUsed {
  std::int64_t lowEnd, highBegin;
};

/// Factorises the block, as MA50BD does once its sizes are known to be good.
/// @return the places that it wrote to
PlacesUsed factor_block(const BlockToFactor& block);

}  // namespace corvidnum
