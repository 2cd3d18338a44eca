// The frontal kernel: sparse LU factorisation of one diagonal block by the unsymmetric multifrontal method.
//
// Each front is a small dense matrix that takes some pivots of the sparse one:
//   1. search_pivot(): assemble a few columns of lowest degree bound and choose the acceptable entry of least
//      Markowitz cost (threshold pivoting).
//   2. form_front(): open a front for the pivot's row and column, with room to grow.
//   3. assemble(): add original entries and contribution blocks that have come to lie inside, and renew the
//      degree bounds.
//   4. eliminate the pivot; extend the front by a pivot whose row and column fit; store the batch of pivots
//      as an LU element when the front would grow over it, and repeat from 3.
//   5. end_front(): what is left of the front becomes a contribution block, which waits for its assembly.
// end_block() numbers the pivots and elements when no column has an acceptable pivot any more.
//
// The invariants stand above ObjectStore, MemoryList, DegreeLists, Front and ElementChain.
//
// Literature: T. A. Davis and I. S. Duff, An unsymmetric-pattern multifrontal method for sparse LU
// factorization, SIAM J. Matrix Anal. Appl. 18 (1997); and A combined unifrontal/multifrontal method for
// unsymmetric sparse matrices, ACM Trans. Math. Softw. 25 (1999).

#include "sparse/ma38/front/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Makes one front, if a pivot is found. Returns false after a shortage.
bool make_front(Frontal& f, Pivot& pivot) {
  f.store.release_last_hole();
  if (!search_pivot(f, pivot)) return false;
  if (!pivot.found()) return true;
  if (!form_front(f, pivot) || !eliminate_front(f, pivot)) return false;
  after_step(f);
  return true;
}

}  // namespace

bool ma38_frontal_kernel(Frontal& f) {
  if (!prepare_objects(f)) return false;
  after_step(f);
  while (f.pivots < f.n) {
    Pivot pivot;
    if (!make_front(f, pivot)) return false;
    if (!pivot.found()) break;
  }
  return end_block(f);
}

}  // namespace ma38
}  // namespace corvidnum
