// The frontal kernel: one front after the other until no column has an acceptable pivot.

#include "sparse/ma38/front/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Makes one front, if a pivot is found. False: a shortage.
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
