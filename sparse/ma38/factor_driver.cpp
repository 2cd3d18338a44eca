#include "sparse/ma38/factor_driver.h"

#include <algorithm>
#include <numeric>

#include "sparse/ma38/btf_permute.h"

namespace corvidnum {
namespace ma38 {
namespace {

class FactorDriver {
 public:
  FactorDriver(const DriverInput& input, Space& space, const Results& results)
      : in_(input),
        n_(input.n),
        nz_(input.nz),
        s_(space),
        results_(results),
        controls_(input.keep, input.cntl, input.icntl),
        top_(space.ints, space.ints.size(), input.n) {}

  DriverOutcome run();

 private:
  // Each returns false after a shortage.
  bool reserve_top();
  bool permute_to_blocks();
  bool factor_whole();
  bool factor_blocks();
  bool factor_block(Index b);
  bool factor_singleton(Index b);
  bool store_off_diagonal_part();

  void keep_block_pointers();
  double take_preserved_pivot(Index position);
  double take_consumed_pivot(Index begin);
  void make_pointers_relative();
  void finish();
  void refactorisation_needs();

  bool take_ints(Wide count);
  bool has_reals(Wide count);
  int& consumed_start(Index position) const { return top_.offp()(position); }

  const DriverInput& in_;
  const Index n_, nz_;
  Space& s_;
  const Results& results_;
  const FrontControls controls_;
  const FactorTop<int> top_;

  FactorTotals totals_;
  Index nblks_ = 1;
  Wide nzoff_ = 0;
  Index singletons_ = 0, nonzero_singletons_ = 0;
};

DriverOutcome FactorDriver::run() {
  s_.ihead = s_.xhead = in_.preserved ? 1 : nz_ + 1;
  s_.itail = s_.ints.size() + 1;
  s_.xtail = s_.reals.size() + 1;
  totals_.peak_reals = 2 * Wide{in_.ne};
  // A refactorisation holds the entries beside the factors, and a copy of them if they are preserved.
  totals_.factor_reals = (in_.preserved ? 2 : 1) * Wide{nz_};
  if (reserve_top() && permute_to_blocks()) {
    if (nblks_ == 1) {
      factor_whole();
    } else if (factor_blocks()) {
      make_pointers_relative();
      store_off_diagonal_part();
    }
  }
  finish();
  return {results_(kStatus) >= 0, static_cast<int>(nblks_), static_cast<int>(nzoff_)};
}

/// Words at the tail, which become part of the need.
bool FactorDriver::take_ints(Wide count) {
  s_.ineed += count;
  if (s_.free_ints() < count) return s_.lack_ints(results_, count - s_.free_ints());
  s_.itail -= static_cast<Index>(count);
  return true;
}

bool FactorDriver::has_reals(Wide count) {
  return s_.free_reals() >= count || s_.lack_reals(results_, count - s_.free_reals());
}

bool FactorDriver::reserve_top() {
  if (!take_ints(FactorTop<int>::length(n_, 1))) return false;
  s_.note_use(results_);
  return true;
}

bool FactorDriver::permute_to_blocks() {
  if (OneBased<const int>(in_.icntl, kIcntlLength)(kUseBlocks) == 1) {
    const Index copied = in_.preserved ? 0 : nz_;  // permuting in place takes the matrix once more
    const Wide work = btf_work(n_), reserved = n_ + 1 + work;
    const bool ints =
        take_ints(reserved) && (s_.free_ints() >= copied || s_.lack_ints(results_, copied - s_.free_ints()));
    if (!has_reals(copied) || !ints) return false;
    s_.ihead += copied;
    s_.xhead += copied;
    s_.ineed += copied;
    s_.xneed += copied;
    s_.note_use(results_);
    const OneBased<int> offp = top_.offp();
    const BlockForm form = ma38_btf_permute(in_.matrix, n_, nz_, in_.preserved, top_.rperm(), top_.cperm(),
                                            offp, s_.ints.part(s_.itail, static_cast<Index>(work)));
    s_.ihead -= copied;
    s_.xhead -= copied;
    s_.ineed -= copied + reserved;
    s_.xneed -= copied;
    s_.itail += static_cast<Index>(reserved);
    nblks_ = form.nblks;
    nzoff_ = form.nzoff;
  }
  if (nblks_ > 1) keep_block_pointers();
  return true;
}

/// What is left of the work of the permutation: row starts, block starts, block pointers.
void FactorDriver::keep_block_pointers() {
  s_.itail = top_.first(nblks_);
  s_.ineed += FactorTop<int>::length(n_, nblks_) - FactorTop<int>::length(n_, 1);
}

bool FactorDriver::factor_whole() {
  std::iota(top_.rperm().data(), top_.rperm().data() + n_, 1);
  std::iota(top_.cperm().data(), top_.cperm().data() + n_, 1);
  const Block block{n_, 1, in_.preserved, false, in_.matrix, top_.rperm(), top_.cperm(), {nullptr, 0}};
  if (!ma38_block_setup(block, s_, controls_, totals_, nzoff_, results_)) return false;
  s_.ihead = s_.xhead = 1;
  s_.ints(s_.itail + kBlockReals) = 1;
  return true;
}

bool FactorDriver::factor_blocks() {
  const OneBased<int> blkp = top_.blkp(nblks_);
  for (Index b = nblks_; b >= 1; --b) {
    const bool good = blkp(b + 1) - blkp(b) > 1 ? factor_block(b) : factor_singleton(b);
    if (!good) return false;
  }
  return true;
}

bool FactorDriver::factor_block(Index b) {
  const Index k1 = top_.blkp(nblks_)(b), order = top_.blkp(nblks_)(b + 1) - k1;
  Columns matrix = in_.matrix;
  Index start = 1;
  if (!in_.preserved) {
    start = consumed_start(k1);
    consumed_start(k1 + order) = static_cast<int>(s_.xhead);
    matrix.ap = top_.offp().part(k1, order + 1);
  }
  const Block block{order,
                    k1,
                    in_.preserved,
                    true,
                    matrix,
                    top_.rperm().part(k1, order),
                    top_.cperm().part(k1, order),
                    top_.offp().part(1, n_)};
  if (!ma38_block_setup(block, s_, controls_, totals_, nzoff_, results_)) return false;
  s_.ihead = s_.xhead = start;
  top_.lublkp(nblks_)(b) = static_cast<int>(s_.itail);
  return true;
}

bool FactorDriver::factor_singleton(Index b) {
  const Index k = top_.blkp(nblks_)(b);
  double pivot = in_.preserved ? take_preserved_pivot(k) : take_consumed_pivot(consumed_start(k));
  ++singletons_;
  if (pivot == 0.0) {
    pivot = 1.0;  // lets the solution go on
  } else {
    ++nonzero_singletons_;
  }
  ++s_.xneed;
  if (!has_reals(1)) return false;
  s_.reals(--s_.xtail) = pivot;
  top_.lublkp(nblks_)(b) = -static_cast<int>(s_.xtail);
  s_.note_use(results_);
  totals_.peak_reals = std::max(totals_.peak_reals, ++totals_.factor_reals);
  return true;
}

double FactorDriver::take_preserved_pivot(Index position) {
  const OneBased<const int> row_position = top_.offp();
  const Columns& m = in_.matrix;
  const Index j = top_.cperm()(position);
  double pivot = 0.0;
  for (Index p = m.ap(j); p < m.ap(j + 1); ++p) {
    if (row_position(m.ai(p)) < position) {
      ++nzoff_;
    } else {
      pivot = m.ax(p);
    }
  }
  return pivot;
}

double FactorDriver::take_consumed_pivot(Index begin) {
  if (s_.xhead == begin) return 0.0;
  const double pivot = in_.matrix.ax(begin);
  s_.ihead = s_.xhead = begin;
  --s_.ineed;
  --s_.xneed;
  return pivot;
}

void FactorDriver::make_pointers_relative() {
  const OneBased<int> pointers = top_.lublkp(nblks_);
  const int ints = static_cast<int>(1 - s_.itail), reals = static_cast<int>(1 - s_.xtail);
  for (Index b = 1; b <= nblks_; ++b) {
    if (pointers(b) > 0) {
      s_.ints(pointers(b) + kBlockReals) += reals;
      pointers(b) += ints;
    } else {
      pointers(b) = reals - pointers(b);
    }
  }
}

bool FactorDriver::store_off_diagonal_part() {
  const bool all_singletons = nblks_ == n_;
  s_.ineed += n_;
  if (s_.free_ints() < n_) return s_.lack_ints(results_, n_ + nzoff_ + 1 - s_.free_ints());
  if (all_singletons) {  // the LU elements take one word at the least
    s_.ineed += 1;
    if (s_.free_ints() < n_ + 1) return s_.lack_ints(results_, n_ + nzoff_ + 1 - s_.free_ints());
    s_.ints(--s_.itail) = 0;
  }
  s_.ineed += nzoff_;
  s_.xneed += nzoff_;
  const bool ints = s_.free_ints() >= n_ + nzoff_ || s_.lack_ints(results_, n_ + nzoff_ - s_.free_ints());
  if (!has_reals(nzoff_) || !ints) return false;
  s_.itail -= static_cast<Index>(nzoff_);
  s_.xtail -= static_cast<Index>(nzoff_);
  s_.note_use(results_);
  const OneBased<int> work = s_.ints.part(s_.ihead, n_);
  const OffDiagonalInput input{
      kFactor,      in_.n,        static_cast<int>(nblks_), in_.preserved, in_.matrix,
      top_.rperm(), top_.cperm(), top_.blkp(nblks_),        in_.icntl};
  ma38_offdiag_rows(input, top_.offp(), s_.ints.from(s_.itail), s_.reals.from(s_.xtail), work);
  return true;
}

void FactorDriver::finish() {
  if (s_.ints_short)
    ma38_set_info(kFactor, in_.icntl, results_(kStatus), kIndexTooShort, results_(kIndexNeeded));
  if (s_.reals_short)
    ma38_set_info(kFactor, in_.icntl, results_(kStatus), kValueTooShort, results_(kValueNeeded));
  const bool good = results_(kStatus) >= 0;
  results_(kNotInPattern) = 0;
  results_(kEntries) = in_.nz;
  results_(kDiagonalEntries) = static_cast<int>(nz_ - nzoff_);
  results_(kOffDiagonalEntries) = static_cast<int>(nzoff_);
  results_(kSingletons) = static_cast<int>(singletons_);
  results_(kBlocks) = static_cast<int>(nblks_);
  results_(kEntriesInFactors) = clamped(Wide{results_(kEntriesInL)} + results_(kEntriesInU) + n_ + nzoff_);
  if (good) {
    for (Index k = 1; k <= n_; ++k) results_(kDiagonalPivots) += top_.cperm()(k) == top_.rperm()(k);
  }
  results_(kPivots) += static_cast<int>(nonzero_singletons_);
  results_(kBlasFlops) = results_(kLevel1Flops) + results_(kLevel2Flops) + results_(kLevel3Flops);
  if (good && results_(kPivots) < n_)
    ma38_set_info(kFactor, in_.icntl, results_(kStatus), kSingular, results_(kPivots));
  refactorisation_needs();
}

/// Without the part of the factors that is kept. The three terms: conversion, permutation, the replay.
void FactorDriver::refactorisation_needs() {
  const Wide n = n_, nz = nz_, ne = in_.ne, maxl = totals_.maxl, maxu = totals_.maxu;
  const Wide elements = totals_.elements;
  const Wide conversion = std::max(3 * ne + 2 * n + 1, ne + 3 * n + 2);
  const Wide replay = in_.preserved
                          ? maxu + 3 * maxl + 2 * nz + 4 * (n + elements) + 10
                          : std::max(3 * n + 2 * nz + 2, nz + 3 * (n + maxl + 3) + 4 * elements + maxu);
  results_(kIndexForRefactor) = clamped(std::max(conversion, replay));
  results_(kValueForRefactor) = clamped(totals_.peak_reals);
}

}  // namespace

DriverOutcome ma38_factor_driver(const DriverInput& input, Space& space, const Results& results) {
  return FactorDriver(input, space, results).run();
}

}  // namespace ma38
}  // namespace corvidnum
