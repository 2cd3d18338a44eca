#include <algorithm>

#include "frame/module.h"
#include "frame/numeric_runtime.h"
#include "sparse/ma38/ma38_routines.h"
#include "sparse/ma38/report/results.h"

int ma38id_(int* keep, double* cntl, int* icntl) {
  using namespace corvidnum::ma38;
  corvidnum::enter_library();
  const corvidnum::OneBased<int> kept(keep, kKeepLength), integer(icntl, kIcntlLength);
  const corvidnum::OneBased<double> real(cntl, kCntlLength);
  std::fill(icntl, icntl + kIcntlLength, 0);
  integer(kErrorUnit) = 6;
  integer(kDumpUnit) = 6;
  integer(kPrintLevel) = 2;
  integer(kUseBlocks) = 1;
  integer(kSearchWidth) = 4;
  integer(kPreferDiagonal) = 0;
  integer(kBlockSize) = 16;
  integer(kMostRefinements) = 0;
  const int epsilon = 1;
  std::fill(cntl, cntl + kCntlLength, 0.0);
  real(kPivotTolerance) = 0.1;
  real(kGrowth) = 2.0;
  real(kEpsilon) = corvidnum::FD05AD(&epsilon);
  std::fill(keep + kIndexEnd, keep + kKeepLength, 0);  // where the factors are stays
  kept(kDense1) = 64;
  kept(kDense2) = 1;
  return 0;
}
