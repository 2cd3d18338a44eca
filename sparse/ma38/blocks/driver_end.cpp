// What both drivers do beside the kernels, in the order of a call:
//
//   1. store_singleton(): store the pivot of a block of order 1, which needs no elimination;
//   2. store_off_diagonal_part(): write the entries off the diagonal blocks by rows, when all blocks are
//   done;
//   3. report_figures(): set the errors -3, -4 and -5 of shortages; count the entries of the matrix and its
//      factors; warn of entries that were dropped and of missing pivots; set INFO(22) and INFO(23), the
//      lengths that ma38bd_ needs.

#include "sparse/ma38/blocks/driver_end.h"

#include <algorithm>

#include "sparse/ma38/front/pivot_test.h"

namespace corvidnum {
namespace ma38 {

Index store_singleton(double pivot, Space& space, FactorTotals& totals, DriverFigures& figures,
                      const Results& results) {
  ++figures.singletons;
  const bool usable = is_usable_pivot(pivot);
  if (usable) ++figures.usable_singletons;
  if (!space.reserve_tail_reals(results, 1)) return 0;
  space.reals(space.xtail) = usable ? pivot : 1.0;
  space.note_use(results);
  totals.peak_reals = std::max(totals.peak_reals, ++totals.factor_reals);
  return space.xtail;
}

Wide store_off_diagonal_part(const OffDiagonalInput& input, OneBased<int> offp, Space& space,
                             FactorTotals& totals, const DriverFigures& figures, const Results& results) {
  const Wide n = figures.n, nzoff = figures.nzoff, ints = n + nzoff;
  space.need(ints, 0);
  const bool enough = space.has_ints(results, ints);
  if (!space.reserve_tail_reals(results, nzoff) || !enough) return -1;
  space.push_tail_ints(static_cast<Index>(nzoff));
  space.note_use(results);
  results.raise(MA38_INFO_INDEX_USED,
                space.ints_below + space.ints.size() - space.free_ints() + n);  // and n words of work
  // A matrix that is not preserved exists twice now, beside the factors: its off-diagonal entries by columns
  // at the head and by rows at the tail.
  if (!figures.preserved)
    totals.peak_reals = std::max(totals.peak_reals, totals.factor_reals - figures.nz + 2 * nzoff);
  return ma38_offdiag_rows(input, offp, space.ints.from(space.itail), space.reals.from(space.xtail),
                           space.ints.part(space.ihead, static_cast<Index>(n)));
}

namespace {

/// Sets what INFO and RINFO tell about the matrix, its blocks and its pivots.
void count_entries(const DriverFigures& f, const FactorTop<int>& top, bool good, const Results& results) {
  results(MA38_INFO_NOT_IN_PATTERN) = clamped(f.below + f.invalid);
  results(MA38_INFO_ENTRIES) = static_cast<int>(f.nz);
  results(MA38_INFO_DIAGONAL_ENTRIES) = static_cast<int>(f.nz - f.nzoff - f.below);
  results(MA38_INFO_OFF_DIAGONAL_ENTRIES) = static_cast<int>(f.nzoff);
  results(MA38_INFO_SINGLETONS) = static_cast<int>(f.singletons);
  results(MA38_INFO_BLOCKS) = static_cast<int>(f.nblks);
  results(MA38_INFO_FACTOR_ENTRIES) =
      clamped(Wide{results(MA38_INFO_ENTRIES_IN_L)} + results(MA38_INFO_ENTRIES_IN_U) + f.n + f.nzoff);
  if (good) {
    for (Index k = 1; k <= f.n; ++k) results(MA38_INFO_DIAGONAL_PIVOTS) += top.cperm()(k) == top.rperm()(k);
  }
  results(MA38_INFO_PIVOTS) += static_cast<int>(f.usable_singletons);
  results(MA38_RINFO_BLAS_FLOPS) =
      results(MA38_RINFO_LEVEL1_FLOPS) + results(MA38_RINFO_LEVEL2_FLOPS) + results(MA38_RINFO_LEVEL3_FLOPS);
}

/// Sets INFO(22) and INFO(23), the lengths of INDEX and VALUE that a refactorisation by ma38bd_ needs.
/// INFO(22) is the largest of what the conversion, the grouping of the entries and the replay need;
/// FactorCall::keep_factors() adds the words of the pattern to it at the end of the call. INFO(23) is the
/// most reals that the refactorisation holds at once.
void set_refactorisation_needs(const DriverFigures& f, const FactorTotals& totals, const Results& results) {
  const Wide n = f.n, nz = f.nz, ne = f.ne, maxl = totals.maxl, maxu = totals.maxu;
  const Wide elements = totals.elements;
  const Wide conversion = std::max(3 * ne + 2 * n + 1, ne + 3 * n + 2);
  const Wide replay = f.preserved
                          ? maxu + 3 * maxl + 2 * nz + 4 * (n + elements) + 10
                          : std::max(3 * n + 2 * nz + 2, nz + 3 * (n + maxl + 3) + 4 * elements + maxu);
  results(MA38_INFO_INDEX_FOR_REFACTOR) = clamped(std::max(conversion, replay));
  results(MA38_INFO_VALUE_FOR_REFACTOR) = clamped(totals.peak_reals);
}

}  // namespace

void report_figures(Who who, const DriverFigures& figures, const FactorTop<int>& top, const Space& space,
                    const FactorTotals& totals, const int* icntl, const Results& results) {
  int& status = results(MA38_INFO_STATUS);
  if (space.ints_short)
    ma38_set_info(who, icntl, status, MA38_STATUS_INDEX_TOO_SHORT, results(MA38_INFO_INDEX_NEEDED));
  if (space.reals_short)
    ma38_set_info(who, icntl, status, MA38_STATUS_VALUE_TOO_SHORT, results(MA38_INFO_VALUE_NEEDED));
  const bool good = status >= 0;
  count_entries(figures, top, good, results);
  if (results(MA38_INFO_NOT_IN_PATTERN) > 0)
    ma38_set_info(who, icntl, status, MA38_WARNING_ENTRIES, -results(MA38_INFO_NOT_IN_PATTERN));
  if (good && results(MA38_INFO_PIVOTS) < figures.n)
    ma38_set_info(who, icntl, status, MA38_WARNING_SINGULAR, results(MA38_INFO_PIVOTS));
  set_refactorisation_needs(figures, totals, results);
}

}  // namespace ma38
}  // namespace corvidnum
