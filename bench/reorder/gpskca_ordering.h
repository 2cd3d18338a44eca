#pragma once

// The library's reordering of a mesh.

#include <cstddef>
#include <numeric>
#include <vector>

#include "bench/reorder/measures.h"
#include "bench/reorder/meshes.h"
#include "reorder/gpskca.h"

namespace bench {

/// Reorders a mesh by gpskca, for the bandwidth or for the profile.
class GpskcaOrdering {
 public:
  GpskcaOrdering(const Mesh& mesh, bool by_profile)
      : mesh_(mesh),
        by_profile_(by_profile),
        degree_(mesh.degree),
        permutation_(degree_.size()),
        work_(6 * degree_.size() + 3) {}

  /// Sets the numbering that comes in to that of the mesh.
  void prepare() { std::iota(permutation_.begin(), permutation_.end(), 1); }
  /// Returns whether gpskca ended without an error.
  bool reorder() {
    const int length = static_cast<int>(work_.size());
    int error, space;
    gpskca(&mesh_.n, degree_.data(), mesh_.row_start.data(), mesh_.connect.data(), &by_profile_, &length,
           permutation_.data(), work_.data(), &bandwidth_, &profile_, &error, &space);
    return error == 0;
  }

  const Numbering& numbering() const { return permutation_; }
  /// Returns whether the reported bandwidth and profile are those counted from the edges.
  bool is_right() const {
    const Measures counted = measures(mesh_, permutation_);
    return counted.bandwidth == bandwidth_ && counted.profile == profile_;
  }

 private:
  const Mesh& mesh_;
  int by_profile_, bandwidth_ = 0, profile_ = 0;
  std::vector<int> degree_;
  Numbering permutation_;
  std::vector<int> work_;
};

}  // namespace bench
