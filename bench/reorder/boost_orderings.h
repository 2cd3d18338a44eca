#pragma once

#include <cstddef>
#include <memory>

#include "bench/reorder/measures.h"
#include "bench/reorder/meshes.h"

namespace bench {

/// Orderings of Boost.Graph on its most compact graph, each with the starting node that it chooses itself.
/// Whatever they take from their caller is there before the first. For connected meshes.
class BoostOrderings {
 public:
  explicit BoostOrderings(const Mesh& mesh);
  ~BoostOrderings();

  void reverse_cuthill_mckee();
  void reverse_king();
  void sloan();

  /// What the last of them found.
  Numbering numbering() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace bench
