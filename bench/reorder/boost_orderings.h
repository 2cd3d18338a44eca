#pragma once

// The peers of the reordering.

#include <cstddef>
#include <memory>

#include "bench/reorder/measures.h"
#include "bench/reorder/meshes.h"

namespace bench {

/// Orderings of Boost.Graph on its most compact graph type, each with the starting node that it chooses
/// itself. The arrays that they need from the caller are allocated by the constructor, so that only the
/// ordering is timed. The mesh must be connected.
class BoostOrderings {
 public:
  explicit BoostOrderings(const Mesh& mesh);
  ~BoostOrderings();

  void reverse_cuthill_mckee();
  void reverse_king();
  void sloan();

  /// Returns the result of the last ordering.
  Numbering numbering() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace bench
