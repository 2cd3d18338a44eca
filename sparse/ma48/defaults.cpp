// The defaults of the controls: those of the routines, and those of the kernels, which have shorter arrays.

#include "frame/module.h"
#include "sparse/ma48/kernel_codes.h"
#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/ma48_routines.h"

extern "C" int ma48id_(double* cntl, int* icntl) {
  corvidnum::enter_library();
  const corvidnum::OneBased<double> real(cntl, MA48_CNTL_LENGTH);
  const corvidnum::OneBased<int> integer(icntl, MA48_ICNTL_LENGTH);
  real(MA48_CNTL_DENSITY) = 0.5;
  real(MA48_CNTL_THRESHOLD) = 0.1;
  real(MA48_CNTL_DROP_TOLERANCE) = 0.0;
  real(MA48_CNTL_PIVOT_TOLERANCE) = 0.0;
  real(MA48_CNTL_REFINEMENT_FACTOR) = 0.5;
  integer(MA48_ICNTL_ERROR_STREAM) = 6;
  integer(MA48_ICNTL_WARNING_STREAM) = 6;
  integer(MA48_ICNTL_PRINT_LEVEL) = 2;
  integer(MA48_ICNTL_SEARCH_LIMIT) = 3;
  integer(MA48_ICNTL_DENSE_BLOCK_SIZE) = 32;
  integer(MA48_ICNTL_SMALLEST_BLOCK) = 1;
  integer(MA48_ICNTL_SINGULAR_IS_ERROR) = 1;
  integer(MA48_ICNTL_COLUMNS_LAST) = 0;
  integer(MA48_ICNTL_MOST_REFINEMENTS) = 10;
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
  integer(kPivotChoice) = kFreePivots;
  return 0;
}

}  // namespace corvidnum
