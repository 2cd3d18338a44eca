#pragma once

// Controls and results of a call.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/clamp.h"
#include "frame/one_based.h"

namespace corvidnum {
namespace ma38 {

using Index = std::ptrdiff_t;
using Wide = std::int64_t;

enum Icntl {
  kErrorUnit = 1,
  kDumpUnit = 2,
  kPrintLevel = 3,
  kUseBlocks = 4,
  kSearchWidth = 5,
  kPreferDiagonal = 6,
  kBlockSize = 7,
  kMostRefinements = 8
};
enum Cntl { kPivotTolerance = 1, kGrowth = 2, kEpsilon = 3 };
enum Keep {
  kValueBegin = 1,
  kValueEnd = 2,
  kIndexBegin = 3,
  kPatternBegin = 4,
  kIndexEnd = 5,
  kDense1 = 7,
  kDense2 = 8
};
enum Info {
  kStatus = 1,
  kDuplicates = 2,
  kInvalid = 3,
  kNotInPattern = 4,
  kEntries = 5,
  kDiagonalEntries = 6,
  kOffDiagonalEntries = 7,
  kSingletons = 8,
  kBlocks = 9,
  kEntriesInL = 10,  // and U: crossed by intent, see add_factor_entries
  kEntriesInU = 11,
  kEntriesInFactors = 12,
  kFronts = 13,
  kIndexCollections = 14,
  kValueCollections = 15,
  kDiagonalPivots = 16,
  kPivots = 17,
  kIndexUsed = 18,
  kIndexNeeded = 19,
  kValueUsed = 20,
  kValueNeeded = 21,
  kIndexForRefactor = 22,
  kValueForRefactor = 23,
  kRefinements = 24
};
enum Rinfo {
  kBlasFlops = 1,
  kAssemblyFlops = 2,
  kSearchFlops = 3,
  kLevel1Flops = 4,
  kLevel2Flops = 5,
  kLevel3Flops = 6,
  kOmega1 = 7,
  kOmega2 = 8
};
constexpr int kIcntlLength = 20, kCntlLength = 10, kKeepLength = 20, kInfoLength = 40, kRinfoLength = 20;

using corvidnum::clamped;

/// INFO and RINFO of a running call. Sums and needs are taken in 64 bits and clamped.
class Results {
 public:
  Results(int* info, double* rinfo) : info_(info, kInfoLength), rinfo_(rinfo, kRinfoLength) {}
  int& operator()(Info which) const { return info_(which); }
  double& operator()(Rinfo which) const { return rinfo_(which); }
  void add(Info which, Wide amount) const { info_(which) = clamped(info_(which) + amount); }
  void raise(Info which, Wide value) const { info_(which) = std::max(info_(which), clamped(value)); }
  /// An LU element of `pivots` pivots. L and U are crossed here on purpose: only their sum is used.
  void add_factor_entries(Wide pivots, Wide l_length, Wide u_length) const {
    add(kEntriesInL, pivots * (pivots - 1) / 2 + pivots * u_length);
    add(kEntriesInU, pivots * (pivots - 1) / 2 + pivots * l_length);
  }

 private:
  OneBased<int> info_;
  OneBased<double> rinfo_;
};

}  // namespace ma38
}  // namespace corvidnum
