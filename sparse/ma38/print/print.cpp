// The dump of the arguments and results of a routine. It runs before the routine checks its arguments, so it
// makes the same checks itself before it reads an array.

#include "sparse/ma38/print/lines.h"

namespace corvidnum {
namespace ma38 {
namespace {

using namespace print_texts;

bool failed(const PrintArguments& a) { return a.output && ma38_info(a.info, MA38_INFO_STATUS) < 0; }

/// Locates the factors; not good where the routine has none, or damaged ones. On entry to ma38bd_ only the
/// pattern is there.
KeptFactors find_factors(const PrintArguments& a) {
  const bool absent = failed(a) || (a.who == kFactor && !a.output);
  if (absent) return KeptFactors{};
  const OneBased<const int> index(a.index, a.lindex);
  if (a.who == kRefactor && !a.output) return locate_pattern(a.n, a.lindex, index, a.keep);
  return locate_factors(a.n, a.lvalue, a.lindex, index, a.keep);
}

void dump_solve_job(const Dump& dump, const PrintArguments& a, bool of_transpose) {
  const bool transposed = a.trans != 0;
  const char* format = kJobSolve[transposed][of_transpose];
  if (a.job == 1) format = kJobLower[transposed];
  if (a.job == 2) format = kJobUpper[transposed];
  dump.line(format, a.job);
  dump.line(transposed ? kSolveTransposed : kSolvePlain);
}

void dump_scalars(const Dump& dump, const PrintArguments& a, bool of_transpose) {
  dump.line(kScalars);
  dump.line(kOrder, a.n);
  if (a.who == kSolve) {
    dump_solve_job(dump, a, of_transpose);
  } else {
    dump.line(kEntryCount, a.ne);
    dump.line(a.job == 1 ? kJobPreserved : kJobNotPreserved, a.job);
    dump.line(a.trans != 0 ? kFactoriseTransposed : kFactorisePlain);
  }
  dump.line(kValueLength, a.lvalue);
  dump.line(kIndexLength, a.lindex);
}

void dump_controls(const Dump& dump, const PrintArguments& a) {
  const OneBased<const int> icntl(a.icntl, MA38_ICNTL_LENGTH), keep(a.keep, MA38_KEEP_LENGTH);
  const OneBased<const double> cntl(a.cntl, MA38_CNTL_LENGTH);
  dump.line(kControls);
  dump.line(kErrorUnitLine, icntl(MA38_ICNTL_ERROR_UNIT));
  dump.line(kDumpUnitLine, icntl(MA38_ICNTL_DUMP_UNIT));
  dump.line(kLevelLine, icntl(MA38_ICNTL_PRINT_LEVEL));
  dump.line(icntl(MA38_ICNTL_USE_BLOCKS) == 1 ? kBlocksUsed : kBlocksUnused, icntl(MA38_ICNTL_USE_BLOCKS));
  dump.line(kSearchLine, icntl(MA38_ICNTL_SEARCH_WIDTH));
  dump.line(icntl(MA38_ICNTL_PREFER_DIAGONAL) != 0 ? kSymmetryPreserved : kSymmetryIgnored,
            icntl(MA38_ICNTL_PREFER_DIAGONAL));
  dump.line(kBlockSizeLine, icntl(MA38_ICNTL_BLOCK_SIZE));
  dump.line(kRefinementLine, icntl(MA38_ICNTL_MOST_REFINEMENTS));
  dump.line(kToleranceLine, cntl(MA38_CNTL_THRESHOLD));
  dump.line(kGrowthLine, cntl(MA38_CNTL_GROWTH));
  dump.line(kDense1Line, keep(MA38_KEEP_DENSE1));
  dump.line(kDense2Line, keep(MA38_KEEP_DENSE2));
  dump.line(kEpsilonLine, cntl(MA38_CNTL_EPSILON));
}

void dump_results(const Dump& dump, const PrintArguments& a) {
  const OneBased<const int> info(a.info, MA38_INFO_LENGTH);
  const OneBased<const double> rinfo(a.rinfo, MA38_RINFO_LENGTH);
  const bool solving = a.who == kSolve;
  const int status = info(MA38_INFO_STATUS);
  dump.line(kResults);
  dump.line(status < 0 ? kStatusError : status > 0 ? kStatusWarning : kStatusFine, status);
  const int first = solving ? MA38_INFO_REFINEMENTS : MA38_INFO_DUPLICATES,
            last = solving ? MA38_INFO_REFINEMENTS : MA38_INFO_VALUE_FOR_REFACTOR;
  for (int k = first; k <= last; ++k) dump.line(kInfoLine, k, info(k), kInfoLabels[k - MA38_INFO_DUPLICATES]);
  const int first_real = solving ? MA38_RINFO_OMEGA1 : MA38_RINFO_BLAS_FLOPS,
            last_real = solving ? MA38_RINFO_OMEGA2 : MA38_RINFO_LEVEL3_FLOPS;
  for (int k = first_real; k <= last_real; ++k)
    dump.line(kRinfoLine, k, rinfo(k), kRinfoLabels[k - MA38_RINFO_BLAS_FLOPS]);
}

void dump_matrix(const Dump& dump, const PrintArguments& a) {
  const Index ne = a.ne;
  dump.line(a.trans != 0 ? kMatrixTransposed : kMatrix);
  dump.line(kMatrixValues, ne);
  dump.line(kMatrixRows, ne);
  dump.line(kMatrixColumns, ne + 1, 2 * ne);
  dump.line(kMatrixEntries);
  if (ne > a.lvalue || 2 * ne > a.lindex) return;
  const OneBased<const int> index(a.index, a.lindex);
  const OneBased<const double> value(a.value, a.lvalue);
  dump.list(ne, [&](Index k) { dump.line(kTriplet, k, index(k), index(ne + k), value(k)); });
}

void dump_vector(const Dump& dump, const double* vector, Index n) {
  const OneBased<const double> x(vector, n);
  dump.list(n, [&](Index k) { dump.line(kNumberedValue, k, x(k)); });
}

// B, X and W certainly have n elements only if the factors are of order n: n itself may be wrong.

void dump_right_hand_side(const Dump& dump, const PrintArguments& a, const KeptFactors& factors) {
  dump.line(kRightHandSide, a.n);
  if (factors.good) dump_vector(dump, a.b, a.n);
  dump.line(kWorkSkipped, a.lw);
}

void dump_solution(const Dump& dump, const PrintArguments& a, const KeptFactors& factors) {
  const int status = ma38_info(a.info, MA38_INFO_STATUS);
  if (status < 0) {
    dump.line(kSolutionSkipped, a.lw, a.n, status);
    return;
  }
  const bool refined =
      ma38_icntl(a.icntl, MA38_ICNTL_MOST_REFINEMENTS) > 0 && status != MA38_WARNING_NO_REFINEMENT;
  if (refined) {
    dump.line(kResidual, a.n);
    if (factors.good) dump_vector(dump, a.w, a.n);
    dump.line(kRestOfWork, Index{a.n} + 1, a.lw);
  } else {
    dump.line(kWorkSkipped, a.lw);
  }
  dump.line(kSolution, a.n);
  if (factors.good) dump_vector(dump, a.x, a.n);
}

void dump_factors_if_any(const Dump& dump, const PrintArguments& a, const KeptFactors& factors) {
  const bool told = a.who == kRefactor || (a.who == kSolve) != a.output;
  if (!told) return;
  if (failed(a)) {
    dump.line(kFactorsSkipped, ma38_info(a.info, MA38_INFO_STATUS));
  } else if (!factors.good) {
    dump.line(kFactorsCorrupted);
  } else {
    dump_factors(dump, a, factors);
  }
}

}  // namespace

void ma38_print(const PrintArguments& a) {
  const Dump dump(a.icntl);
  if (!dump.on()) return;
  const KeptFactors factors = find_factors(a);
  dump.line(kHeading[a.who - 1][a.output]);
  dump_scalars(dump, a, factors.good && factors.transposed);
  dump_controls(dump, a);
  if (a.output) dump_results(dump, a);
  if (!a.output && a.who != kSolve) dump_matrix(dump, a);
  dump_factors_if_any(dump, a, factors);
  if (a.who == kSolve && !a.output) dump_right_hand_side(dump, a, factors);
  if (a.who == kSolve && a.output) dump_solution(dump, a, factors);
  dump.line(kEnd[a.who - 1][a.output]);
}

}  // namespace ma38
}  // namespace corvidnum
