#pragma once

// The pattern of a matrix, apart from its values: how narrow it can be made, and pictures of it.

#include <optional>
#include <string>
#include <vector>

#include "apps/common/reordering.h"
#include "apps/solve/matrix_market.h"

namespace solve {

/// What to do with the pattern of a matrix.
struct PatternOptions {
  std::optional<apps::Goal> goal;  // of a reordering, if there is to be one
  std::string folder;              // of the pictures; empty for none

  /// Returns the names of the pictures to be written: of the matrix as given and, if there is a reordering,
  /// of the reordered one.
  std::vector<std::string> pictures() const;
};

struct PatternFacts {
  std::optional<apps::Reordering> reordering;
  double seconds = 0;                 // that it took
  std::vector<std::string> pictures;  // that were written
};

/// Reorders the matrix and writes the pictures, in a folder that is made if it is missing. Before the work it
/// checks that they can be written; each is written whole or not at all.
/// @throws std::runtime_error
PatternFacts study_pattern(const Matrix& matrix, const PatternOptions& options);

}  // namespace solve
