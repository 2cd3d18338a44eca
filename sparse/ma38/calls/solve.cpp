// ma38cd_: solves with the factors, after KEEP, INDEX and VALUE are found sound. Nothing in the arrays is
// followed before it is known to lead inside, because the host may have damaged or mixed them up.

#include "frame/module.h"
#include "sparse/ma38/factors/factors.h"
#include "sparse/ma38/factors/solve_driver.h"
#include "sparse/ma38/ma38_routines.h"
#include "sparse/ma38/print/print.h"

extern "C" int ma38cd_(const int* n_in, const int* job_in, const int* transc_in, const int* lvalue_in,
                       const int* lindex_in, const double* value, const int* index, const int* keep,
                       const double* b, double* x, double* w, const double* cntl, const int* icntl, int* info,
                       double* rinfo) {
  using namespace corvidnum::ma38;
  corvidnum::enter_library();
  const int n = *n_in, job = *job_in, transc = *transc_in, lvalue = *lvalue_in, lindex = *lindex_in;
  const Results results(info, rinfo);
  results(MA38_INFO_STATUS) = 0;
  results(MA38_INFO_REFINEMENTS) = 0;
  results(MA38_RINFO_OMEGA1) = 0.0;
  results(MA38_RINFO_OMEGA2) = 0.0;
  int refinements = std::max(ma38_icntl(icntl, MA38_ICNTL_MOST_REFINEMENTS), 0);
  const int lw = clamped((refinements > 0 ? 4 : 2) * Wide{n});
  PrintArguments dump = {kSolve, false, n, 0, job, transc, lvalue, lindex, lw,   value,
                         index,  keep,  b, x, w,   cntl,   icntl,  info,   rinfo};
  ma38_print(dump);

  const corvidnum::OneBased<const int> indices(index, lindex);
  const KeptFactors kept = locate_factors(n, lvalue, lindex, indices, keep);
  const bool part_only = job == 1 || job == 2;
  bool sound = kept.good && vectors_are_sound(indices, kept);
  // A whole solve works in W and checks each LU element as it reaches it, before X is written. A solve with L
  // or U alone works in X, which an error must leave unchanged: so all elements are checked first.
  if (sound && part_only)
    sound = elements_are_sound(indices, kept.lu_ints, kept.top_end, n, kept.nblks,
                               Wide{ma38_keep(keep, MA38_KEEP_VALUE_END)} - kept.lu_reals + 1);
  if (sound) {
    if (refinements > 0 && !kept.preserved)
      ma38_set_info(kSolve, icntl, results(MA38_INFO_STATUS), MA38_WARNING_NO_REFINEMENT, 0);
    if (refinements > 0 && part_only)
      ma38_set_info(kSolve, icntl, results(MA38_INFO_STATUS), MA38_WARNING_NO_REFINEMENT, 1);
    if (!kept.preserved || part_only) refinements = 0;
    const corvidnum::OneBased<const double> reals(value, ma38_keep(keep, MA38_KEEP_VALUE_END));
    sound = ma38_solve_driver(
        {job, transc != 0, refinements, ma38_cntl(cntl, MA38_CNTL_EPSILON), indices, reals, kept, b, x, w},
        results);
  }
  if (!sound) ma38_set_info(kSolve, icntl, results(MA38_INFO_STATUS), MA38_STATUS_CORRUPTED, 0);
  dump.output = true;
  ma38_print(dump);
  return 0;
}
