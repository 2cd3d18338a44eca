#pragma once

// INFO and RINFO of a running call, and the integer types of the solver.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/clamp.h"
#include "frame/one_based.h"
#include "sparse/ma38/ma38_codes.h"

namespace corvidnum {
namespace ma38 {

using Index = std::ptrdiff_t;  // a position in an array
using Wide = std::int64_t;     // a count or a need, which may pass the largest int

using corvidnum::clamped;

/// Writes INFO and RINFO by the names of their positions. Sums and needs are formed in 64 bits and clamped to
/// int.
class Results {
 public:
  Results(int* info, double* rinfo) : info_(info, MA38_INFO_LENGTH), rinfo_(rinfo, MA38_RINFO_LENGTH) {}
  int& operator()(MA38_Info which) const { return info_(which); }
  double& operator()(MA38_Rinfo which) const { return rinfo_(which); }
  /// Adds to an element, or raises it to a value.
  void add(MA38_Info which, Wide amount) const { info_(which) = clamped(info_(which) + amount); }
  void raise(MA38_Info which, Wide value) const { info_(which) = std::max(info_(which), clamped(value)); }
  /// Counts the entries of an LU element off the diagonal. INFO(10) gets the length of the U list and
  /// INFO(11) that of the L list: the contract crosses the two, and means only their sum.
  void add_factor_entries(Wide pivots, Wide l_length, Wide u_length) const {
    add(MA38_INFO_ENTRIES_IN_L, pivots * (pivots - 1) / 2 + pivots * u_length);
    add(MA38_INFO_ENTRIES_IN_U, pivots * (pivots - 1) / 2 + pivots * l_length);
  }

 private:
  OneBased<int> info_;
  OneBased<double> rinfo_;
};

}  // namespace ma38
}  // namespace corvidnum
