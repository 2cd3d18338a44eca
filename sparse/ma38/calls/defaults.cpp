// ma38id_: writes the defaults of the controls. KEEP(1) to KEEP(5) stay, so that a host may set the controls
// anew while it holds factors.

#include <algorithm>

#include "frame/module.h"
#include "frame/numeric_runtime.h"
#include "sparse/ma38/ma38_routines.h"
#include "sparse/ma38/report/results.h"

int ma38id_(int* keep, double* cntl, int* icntl) {
  using namespace corvidnum::ma38;
  corvidnum::enter_library();
  const corvidnum::OneBased<int> kept(keep, MA38_KEEP_LENGTH), integer(icntl, MA38_ICNTL_LENGTH);
  const corvidnum::OneBased<double> real(cntl, MA38_CNTL_LENGTH);
  std::fill(icntl, icntl + MA38_ICNTL_LENGTH, 0);
  integer(MA38_ICNTL_ERROR_UNIT) = 6;
  integer(MA38_ICNTL_DUMP_UNIT) = 6;
  integer(MA38_ICNTL_PRINT_LEVEL) = 2;
  integer(MA38_ICNTL_USE_BLOCKS) = 1;
  integer(MA38_ICNTL_SEARCH_WIDTH) = 4;
  integer(MA38_ICNTL_PREFER_DIAGONAL) = 0;
  integer(MA38_ICNTL_BLOCK_SIZE) = 16;
  integer(MA38_ICNTL_MOST_REFINEMENTS) = 0;
  const int epsilon = 1;
  std::fill(cntl, cntl + MA38_CNTL_LENGTH, 0.0);
  real(MA38_CNTL_THRESHOLD) = 0.1;
  real(MA38_CNTL_GROWTH) = 2.0;
  real(MA38_CNTL_EPSILON) = corvidnum::FD05AD(&epsilon);
  std::fill(keep + MA38_KEEP_INDEX_END, keep + MA38_KEEP_LENGTH, 0);  // where the factors are stays
  kept(MA38_KEEP_DENSE1) = 64;
  kept(MA38_KEEP_DENSE2) = 1;
  return 0;
}
