#include "frame/module.h"
#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/ma48_routines.h"

extern "C" int ma48id_(double* cntl, int* icntl) {
  corvidnum::enter_library();
  const corvidnum::OneBased<double> real(cntl, corvidnum::kRefinementFactor);
  const corvidnum::OneBased<int> integer(icntl, corvidnum::kMostRefinements);
  real(corvidnum::kDensity) = 0.5;
  real(corvidnum::kThreshold) = 0.1;
  real(corvidnum::kDropTolerance) = 0.0;
  real(corvidnum::kPivotTolerance) = 0.0;
  real(corvidnum::kRefinementFactor) = 0.5;
  integer(corvidnum::kErrorStream) = 6;
  integer(corvidnum::kWarningStream) = 6;
  integer(corvidnum::kPrintLevel) = 2;
  integer(corvidnum::kSearchLimit) = 3;
  integer(corvidnum::kDenseBlockSize) = 32;
  integer(corvidnum::kSmallestBlock) = 1;
  integer(corvidnum::kSingularIsError) = 1;
  integer(corvidnum::kColumnsLast) = 0;
  integer(corvidnum::kMostRefinements) = 10;
  return 0;
}

namespace corvidnum {

int ma50id_(double* cntl, int* icntl) {
  const OneBased<double> real(cntl, kMa50CntlLength);
  const OneBased<int> integer(icntl, kMa50IcntlLength);
  real(kDensity) = 0.5;
  real(kThreshold) = 0.1;
  real(kDropTolerance) = 0.0;
  real(kPivotTolerance) = 0.0;
  integer(kErrorStream) = 6;
  integer(kWarningStream) = 6;
  integer(kPrintLevel) = 1;
  integer(kSearchLimit) = 3;
  integer(kDenseBlockSize) = 32;
  integer(kLastColumns) = 0;
  integer(kPivotChoice) = 0;
  return 0;
}

}  // namespace corvidnum
