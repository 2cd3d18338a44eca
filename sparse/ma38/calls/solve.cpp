// ma38cd_: solves with the factors, after KEEP, INDEX and VALUE are found sound. Nothing in the arrays is
// followed before it is known to lead inside, because the host may have damaged or mixed them up.
//
//   1. Clear the results and dump the arguments.
//   2. Locate the factors by KEEP and the scalars in INDEX, and check them.
//   3. Decide whether the solution can be refined; warn if the host asked for it and it can't.
//   4. Solve, and refine (factors/solve_driver.cpp).
//   5. Set the error, if there is one, and dump the results.

#include <algorithm>

#include "frame/module.h"
#include "sparse/ma38/factors/factors.h"
#include "sparse/ma38/factors/solve_driver.h"
#include "sparse/ma38/ma38_routines.h"
#include "sparse/ma38/print/print.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Holds the arguments of ma38cd_, in their order.
struct SolveArguments {
  int n, job, transc, lvalue, lindex;
  const double* value;
  const int *index, *keep;
  const double* b;
  double *x, *w;
  const double* cntl;
  const int* icntl;
  int* info;
  double* rinfo;
};

/// One call of ma38cd_, in the steps above.
class Solve {
 public:
  explicit Solve(const SolveArguments& arguments)
      : in_(arguments),
        index_(in_.index, in_.lindex),
        results_(in_.info, in_.rinfo),
        asked_refinements_(std::max(ma38_icntl(in_.icntl, MA38_ICNTL_MOST_REFINEMENTS), 0)) {}

  void run();

 private:
  void clear_results() const;
  void dump(bool output) const;
  bool factors_are_sound(const KeptFactors& kept) const;
  /// Returns how many refinements are allowed, and warns if some were asked for and none is possible.
  int possible_refinements(const KeptFactors& kept) const;
  bool solve(const KeptFactors& kept) const;
  void set_status(int code, int detail) const {
    ma38_set_info(kSolve, in_.icntl, results_(MA38_INFO_STATUS), code, detail);
  }

  /// Returns whether the system is that of L or U alone.
  bool is_partial() const { return in_.job == MA38_SOLVE_LOWER || in_.job == MA38_SOLVE_UPPER; }
  int value_end() const { return ma38_keep(in_.keep, MA38_KEEP_VALUE_END); }

  const SolveArguments in_;
  const OneBased<const int> index_;
  const Results results_;
  const int asked_refinements_;  // ICNTL(8), or 0 if it is negative
};

void Solve::run() {
  clear_results();
  dump(false);
  const KeptFactors kept = locate_factors(in_.n, in_.lvalue, in_.lindex, index_, in_.keep);
  if (!factors_are_sound(kept) || !solve(kept)) set_status(MA38_STATUS_CORRUPTED, 0);
  dump(true);
}

void Solve::clear_results() const {
  results_(MA38_INFO_STATUS) = MA38_STATUS_OK;
  results_(MA38_INFO_REFINEMENTS) = 0;
  results_(MA38_RINFO_OMEGA1) = 0.0;
  results_(MA38_RINFO_OMEGA2) = 0.0;
}

void Solve::dump(bool output) const {
  const int lw = clamped((asked_refinements_ > 0 ? 4 : 2) * Wide{in_.n});
  ma38_print({kSolve, output, in_.n, 0, in_.job, in_.transc, in_.lvalue, in_.lindex, lw, in_.value, in_.index,
              in_.keep, in_.b, in_.x, in_.w, in_.cntl, in_.icntl, in_.info, in_.rinfo});
}

/// Checks the vectors, and the LU elements of a partial solve. A whole solve works in W and checks each LU
/// element as it reaches it, before X is written. A partial solve works in X, which an error must leave
/// unchanged: so all elements are checked first.
bool Solve::factors_are_sound(const KeptFactors& kept) const {
  if (!kept.good || !vectors_are_sound(index_, kept)) return false;
  return !is_partial() || elements_are_sound(index_, kept.lu_ints, kept.top_end, in_.n, kept.nblks,
                                             Wide{value_end()} - kept.lu_reals + 1);
}

int Solve::possible_refinements(const KeptFactors& kept) const {
  if (asked_refinements_ > 0 && !kept.preserved) set_status(MA38_WARNING_NO_REFINEMENT, 0);
  if (asked_refinements_ > 0 && is_partial()) set_status(MA38_WARNING_NO_REFINEMENT, 1);
  return kept.preserved && !is_partial() ? asked_refinements_ : 0;
}

/// Solves and refines. Returns false, with X unchanged, if an LU element is damaged.
bool Solve::solve(const KeptFactors& kept) const {
  const SolveCall call{in_.job,
                       in_.transc != 0,
                       possible_refinements(kept),
                       ma38_cntl(in_.cntl, MA38_CNTL_EPSILON),
                       index_,
                       OneBased<const double>(in_.value, value_end()),
                       kept,
                       in_.b,
                       in_.x,
                       in_.w};
  return ma38_solve_driver(call, results_);
}

}  // namespace
}  // namespace ma38
}  // namespace corvidnum

int ma38cd_(const int* n, const int* job, const int* transc, const int* lvalue, const int* lindex,
            const double* value, const int* index, const int* keep, const double* b, double* x, double* w,
            const double* cntl, const int* icntl, int* info, double* rinfo) {
  corvidnum::enter_library();
  corvidnum::ma38::Solve(
      {*n, *job, *transc, *lvalue, *lindex, value, index, keep, b, x, w, cntl, icntl, info, rinfo})
      .run();
  return 0;
}
