#include "sparse/ma38/front/block.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// A threshold of NaN would leave no pivot: it counts as 1.
double clamped_threshold(double threshold) { return threshold < 1.0 ? std::max(threshold, 0.0) : 1.0; }

}  // namespace

FrontControls::FrontControls(const int* keep, const double* cntl, const int* icntl)
    : search_width(std::max(1, icntl[kSearchWidth - 1])),
      block_size(std::max(1, icntl[kBlockSize - 1])),
      prefer_diagonal(icntl[kPreferDiagonal - 1] != 0),
      threshold(clamped_threshold(cntl[kPivotTolerance - 1])),
      growth(cntl[kGrowth - 1] > 1.0 ? cntl[kGrowth - 1] : 1.0),
      dense1(keep[kDense1 - 1]),
      dense2(keep[kDense2 - 1]) {}

}  // namespace ma38
}  // namespace corvidnum
