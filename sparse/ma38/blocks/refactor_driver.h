#pragma once

// Replays the eliminations of an earlier factorisation, block by block.

#include "sparse/ma38/matrix/matrix.h"
#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

struct RefactorInput {
  int n, nz, ne, nblks;
  bool preserved;
  /// Preserved: below the space, only read. Else ai and ax are the bottom of the space, and all is consumed.
  Columns matrix;
  /// [n] work. Not preserved: the starts of the matrix' columns themselves, which one block leaves free.
  OneBased<int> spare;
  /// The caller's; its words from `pattern` on, up to its end, are the kept pattern, which has passed
  /// elements_are_sound() and elements_are_apart(). What tells where reals are is renewed.
  OneBased<int> index;
  Index pattern;
  const int* icntl;
};

struct RefactorOutcome {
  bool good;  // false: an error is set
  Index nzoff;
};

/// On success the tails of the space begin with the off-diagonal part, and the reals of all blocks follow.
/// Sets INFO and RINFO but for the lengths that the factors take at last. After a failure the pattern can be
/// used again.
RefactorOutcome ma38_refactor_driver(const RefactorInput& input, Space& space, const Results& results);

}  // namespace ma38
}  // namespace corvidnum
