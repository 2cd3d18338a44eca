#pragma once

// The driver of ma38bd_: replays the eliminations of an earlier factorisation, block by block, on other
// values.

#include "sparse/ma38/matrix/matrix.h"
#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

struct RefactorInput {
  int n, nz, ne, nblks;
  bool preserved;
  /// Preserved: stands below the space and is only read. Otherwise ai and ax begin at the bottom of the
  /// space, and the matrix is consumed.
  Columns matrix;
  /// [n] work. If the matrix is not preserved these are its own column starts, which are free if there is one
  /// block.
  OneBased<int> spare;
  /// INDEX. Its words from `pattern` to the end are the pattern of the earlier factors, which has passed
  /// elements_are_sound() and elements_are_apart(). Only the words that tell where reals are change.
  OneBased<int> index;
  Index pattern;
  const int* icntl;
};

struct RefactorOutcome {
  bool good;  // false: an error is set
  Index nzoff;
};

/// Factorises with the given pattern. On success the tails of the space hold the off-diagonal part and, above
/// it, the reals of all blocks. Sets INFO and RINFO except for the lengths that depend on where the caller
/// puts a preserved matrix. After a failure the pattern can be used again.
RefactorOutcome ma38_refactor_driver(const RefactorInput& input, Space& space, const Results& results);

}  // namespace ma38
}  // namespace corvidnum
