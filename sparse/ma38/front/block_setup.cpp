// Takes a diagonal block through the kernel: column objects in, factors and permutations out.

#include "sparse/ma38/front/frontal.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Composes the block's slice of a permutation with the kernel's order of its rows or columns, which is
/// overwritten.
void compose(const OneBased<int>& permutation, const OneBased<int>& order, Index n) {
  for (Index k = 1; k <= n; ++k) order(k) = permutation(order(k));
  for (Index k = 1; k <= n; ++k) permutation(k) = order(k);
}

}  // namespace

bool ma38_block_setup(const Block& block, Space& space, const FrontControls& controls, FactorTotals& totals,
                      Wide& nzoff, const Results& results) {
  const Index limit = dense_limit(block, controls);
  const BlockCounts counts = count_block(block, limit);
  nzoff += counts.above;
  if (!room_for_block(block, counts, space, results)) return false;
  Frontal f(block, counts, limit, space, controls, totals, results);
  if (!ma38_frontal_kernel(f)) return false;
  release_vectors(block, counts, space);
  if (block.several) {
    compose(block.rperm, f.front.rows, f.n);
    compose(block.cperm, f.front.columns, f.n);
  }
  return true;
}

}  // namespace ma38
}  // namespace corvidnum
