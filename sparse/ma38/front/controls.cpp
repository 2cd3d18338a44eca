// Reads the controls of the frontal kernel, clamped to what makes sense.

#include "sparse/ma38/front/block.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Returns the threshold within 0 .. 1. A NaN counts as 1, as the contract's comparison with 1 has it; left
/// as it is, it would refuse every pivot.
double clamped_threshold(double threshold) { return threshold < 1.0 ? std::max(threshold, 0.0) : 1.0; }

}  // namespace

FrontControls::FrontControls(const int* keep, const double* cntl, const int* icntl)
    : search_width(std::max(1, ma38_icntl(icntl, MA38_ICNTL_SEARCH_WIDTH))),
      block_size(std::max(1, ma38_icntl(icntl, MA38_ICNTL_BLOCK_SIZE))),
      prefer_diagonal(ma38_icntl(icntl, MA38_ICNTL_PREFER_DIAGONAL) != 0),
      threshold(clamped_threshold(ma38_cntl(cntl, MA38_CNTL_THRESHOLD))),
      growth(ma38_cntl(cntl, MA38_CNTL_GROWTH) > 1.0 ? ma38_cntl(cntl, MA38_CNTL_GROWTH) : 1.0),
      dense1(ma38_keep(keep, MA38_KEEP_DENSE1)),
      dense2(ma38_keep(keep, MA38_KEEP_DENSE2)) {}

}  // namespace ma38
}  // namespace corvidnum
