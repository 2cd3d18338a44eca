#pragma once

#include "reorder/gpskca.h"

namespace proof {

/// Reorders a ring of nodes by its profile.
template <int kNodes>
class Ring {
 public:
  /// @param stride  from node to node in the numbering that is improved; without a factor of kNodes
  explicit Ring(int stride) {
    for (int i = 0; i < kNodes; ++i) {
      degree_[i] = 2, start_[i] = 2 * i + 1, permutation[i] = (stride * i) % kNodes + 1;
      connect_[2 * i] = (i + kNodes - 1) % kNodes + 1, connect_[2 * i + 1] = (i + 1) % kNodes + 1;
    }
  }

  /// @return the error code of gpskca, 0 if all went well
  int reorder() {
    const int nodes = kNodes, length = kWork, by_profile = 1;
    int bandwidth = 0, error = 0, space = 0;
    gpskca(&nodes, degree_, start_, connect_, &by_profile, &length, permutation, work_, &bandwidth, &profile,
           &error, &space);
    return error;
  }

  int permutation[kNodes];
  int profile = 0;

 private:
  static constexpr int kWork = 6 * kNodes + 3;
  int degree_[kNodes], start_[kNodes], connect_[2 * kNodes], work_[kWork];
};

}  // namespace proof
