// ma38bd_: factorises another matrix of the same pattern with the pivot order of an earlier factorisation.
//
//   1. Check the order, the number of entries, and that KEEP(4) and KEEP(5) lie inside INDEX.
//   2. Move the pattern to the end of INDEX, if the host has lengthened it since.
//   3. Check the pattern. All that the replay follows is checked here, so that it needs no test of its own.
//   4. Check the lengths, and convert the triplets to columns below the pattern.
//   5. Replay the eliminations (blocks/refactor_driver.cpp).
//   6. Describe in KEEP and in the top of INDEX where the factors are.

#include <algorithm>

#include "frame/module.h"
#include "sparse/ma38/blocks/refactor_driver.h"
#include "sparse/ma38/calls/factor_call.h"
#include "sparse/ma38/factors/factors.h"
#include "sparse/ma38/ma38_routines.h"

namespace corvidnum {
namespace ma38 {
namespace {

class Refactorisation : private FactorCall {
 public:
  explicit Refactorisation(const FactorArguments& arguments) : FactorCall(kRefactor, arguments) {}

  void run();

 private:
  bool arguments_are_good() const;
  void move_pattern_up() const;
  bool pattern_is_good();
  bool lengths_are_good() const;
  void replay();
  Index pattern() const { return keep_(MA38_KEEP_PATTERN_BEGIN); }
  Wide pattern_length() const {
    return Wide{keep_(MA38_KEEP_INDEX_END)} - keep_(MA38_KEEP_PATTERN_BEGIN) + 1;
  }

  int nblks_ = 0;
};

void Refactorisation::run() {
  begin(MA38_KEEP_INDEX_BEGIN);  // KEEP(4) and KEEP(5) tell where the pattern is and must stay
  if (arguments_are_good()) {
    move_pattern_up();
    if (pattern_is_good() && lengths_are_good() && convert(pattern() - 1)) replay();
  }
  end();
}

bool Refactorisation::arguments_are_good() const {
  if (!order_is_good()) return false;
  const Wide begin = keep_(MA38_KEEP_PATTERN_BEGIN), end = keep_(MA38_KEEP_INDEX_END),
             triplets = 2 * Wide{in_.ne};
  if (begin <= 0 || end - 6 < begin || end > in_.lindex) return fail(MA38_STATUS_CORRUPTED, 0);
  // At the limit the last column number lies on the first word of the pattern, which is not read: it tells
  // where reals are, and these are written anew, or it stands for no LU element at all.
  if (triplets > begin) return fail(MA38_STATUS_BAD_ENTRY_COUNT, keep_(MA38_KEEP_PATTERN_BEGIN) / 2);
  return true;
}

void Refactorisation::move_pattern_up() const {
  const int shift = in_.lindex - keep_(MA38_KEEP_INDEX_END);
  if (shift == 0) return;
  std::copy_backward(in_.index + (pattern() - 1), in_.index + keep_(MA38_KEEP_INDEX_END),
                     in_.index + in_.lindex);
  keep_(MA38_KEEP_PATTERN_BEGIN) += shift;
  keep_(MA38_KEEP_INDEX_END) = in_.lindex;
}

/// Checks the scalars first, because they tell where the rest is.
bool Refactorisation::pattern_is_good() {
  const KeptFactors kept = locate_pattern(in_.n, in_.lindex, index_, in_.keep);
  nblks_ = kept.nblks;
  constexpr Wide kNotRead = -1;  // length of the earlier reals: the replay does not read them
  const bool good = kept.good && elements_are_sound(index_, pattern(), in_.lindex, in_.n, nblks_, kNotRead) &&
                    elements_are_apart(index_, pattern(), in_.lindex, in_.n, nblks_);
  return good || fail(MA38_STATUS_CORRUPTED, 0);
}

bool Refactorisation::lengths_are_good() const {
  const bool good = arrays_are_long_enough(pattern_length());
  results_(MA38_INFO_VALUE_FOR_REFACTOR) = results_(MA38_INFO_VALUE_NEEDED);
  return good;
}

void Refactorisation::replay() {
  Space room = space(pattern() - 1);
  const Index n = in_.n;
  Columns matrix = columns();
  // If the matrix is preserved, columns() names the second copy of the starts: it is free for the driver's
  // work.
  const OneBased<int> spare = matrix.ap;
  matrix.ap = index_.part(1, n + 1);
  const RefactorInput input{in_.n,  nz_,   in_.ne, nblks_,    preserved(),
                            matrix, spare, index_, pattern(), in_.icntl};
  const RefactorOutcome outcome = ma38_refactor_driver(input, room, results_);
  if (outcome.good) keep_factors(room, nblks_, outcome.nzoff);
}

}  // namespace
}  // namespace ma38
}  // namespace corvidnum

int ma38bd_(const int* n, const int* ne, const int* job, const int* transa, const int* lvalue,
            const int* lindex, double* value, int* index, int* keep, const double* cntl, const int* icntl,
            int* info, double* rinfo) {
  corvidnum::enter_library();
  corvidnum::ma38::Refactorisation(
      {*n, *ne, *job, *transa, *lvalue, *lindex, value, index, keep, cntl, icntl, info, rinfo})
      .run();
  return 0;
}
