#include "sparse/ma38/blocks/driver_end.h"

#include <algorithm>

#include "sparse/ma38/front/pivot_test.h"

namespace corvidnum {
namespace ma38 {

bool take_reals(Space& space, Wide count, const Results& results) {
  return space.take_tail_reals(results, count);
}

Index store_singleton(double pivot, Space& space, FactorTotals& totals, DriverFigures& figures,
                      const Results& results) {
  ++figures.singletons;
  const bool usable = is_usable_pivot(pivot);
  if (usable) ++figures.usable_singletons;
  if (!take_reals(space, 1, results)) return 0;
  space.reals(space.xtail) = usable ? pivot : 1.0;
  space.note_use(results);
  totals.peak_reals = std::max(totals.peak_reals, ++totals.factor_reals);
  return space.xtail;
}

Wide store_off_diagonal_part(const OffDiagonalInput& input, OneBased<int> offp, Space& space,
                             FactorTotals& totals, const DriverFigures& figures, const Results& results) {
  const Wide n = figures.n, nzoff = figures.nzoff, ints = n + nzoff;
  space.need(ints, 0);
  const bool enough = space.free_ints() >= ints || space.lack_ints(results, ints - space.free_ints());
  if (!take_reals(space, nzoff, results) || !enough) return -1;
  space.push_tail_ints(static_cast<Index>(nzoff));
  space.note_use(results);
  results.raise(kIndexUsed, space.ints_below + space.ints.size() - space.free_ints() + n);  // with the work
  // A matrix not preserved stands beside it and the factors, what is left of it.
  if (!figures.preserved)
    totals.peak_reals = std::max(totals.peak_reals, totals.factor_reals - figures.nz + 2 * nzoff);
  return ma38_offdiag_rows(input, offp, space.ints.from(space.itail), space.reals.from(space.xtail),
                           space.ints.part(space.ihead, static_cast<Index>(n)));
}

namespace {

void count_entries(const DriverFigures& f, const FactorTop<int>& top, bool good, const Results& results) {
  results(kNotInPattern) = clamped(f.below + f.invalid);
  results(kEntries) = static_cast<int>(f.nz);
  results(kDiagonalEntries) = static_cast<int>(f.nz - f.nzoff - f.below);
  results(kOffDiagonalEntries) = static_cast<int>(f.nzoff);
  results(kSingletons) = static_cast<int>(f.singletons);
  results(kBlocks) = static_cast<int>(f.nblks);
  results(kEntriesInFactors) = clamped(Wide{results(kEntriesInL)} + results(kEntriesInU) + f.n + f.nzoff);
  if (good) {
    for (Index k = 1; k <= f.n; ++k) results(kDiagonalPivots) += top.cperm()(k) == top.rperm()(k);
  }
  results(kPivots) += static_cast<int>(f.usable_singletons);
  results(kBlasFlops) = results(kLevel1Flops) + results(kLevel2Flops) + results(kLevel3Flops);
}

/// Without the part of the factors that is kept. The terms: conversion, grouping by blocks, the replay.
void set_refactorisation_needs(const DriverFigures& f, const FactorTotals& totals, const Results& results) {
  const Wide n = f.n, nz = f.nz, ne = f.ne, maxl = totals.maxl, maxu = totals.maxu;
  const Wide elements = totals.elements;
  const Wide conversion = std::max(3 * ne + 2 * n + 1, ne + 3 * n + 2);
  const Wide replay = f.preserved
                          ? maxu + 3 * maxl + 2 * nz + 4 * (n + elements) + 10
                          : std::max(3 * n + 2 * nz + 2, nz + 3 * (n + maxl + 3) + 4 * elements + maxu);
  results(kIndexForRefactor) = clamped(std::max(conversion, replay));
  results(kValueForRefactor) = clamped(totals.peak_reals);
}

}  // namespace

void report_figures(Who who, const DriverFigures& figures, const FactorTop<int>& top, const Space& space,
                    const FactorTotals& totals, const int* icntl, const Results& results) {
  int& status = results(kStatus);
  if (space.ints_short) ma38_set_info(who, icntl, status, kIndexTooShort, results(kIndexNeeded));
  if (space.reals_short) ma38_set_info(who, icntl, status, kValueTooShort, results(kValueNeeded));
  const bool good = status >= 0;
  count_entries(figures, top, good, results);
  if (results(kNotInPattern) > 0) ma38_set_info(who, icntl, status, kInvalidEntries, -results(kNotInPattern));
  if (good && results(kPivots) < figures.n) ma38_set_info(who, icntl, status, kSingular, results(kPivots));
  set_refactorisation_needs(figures, totals, results);
}

}  // namespace ma38
}  // namespace corvidnum
