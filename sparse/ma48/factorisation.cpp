// Factorises the analysed matrix (ma48bd_), block by block.
//
//   1. check KEEP, IRN and JCN; with JOB 2 and 3 find where the previous factors end;
//   2. scatter the values given to their places of the permuted matrix, summing repeated entries;
//   3. a triangular block with good diagonals needs no factors; every other one is factorised by
//      column_factor.cpp. If the space runs out, the later blocks are tried only to count what they need.
//
// A and IRN, with NEWNE entries kept of the matrix:
//
//   | matrix by columns | factors of the general blocks, first to last |  free  |
//   1             NEWNE                                                used_     la
//
// From the scatter to the first block, the values as given stand behind NE, in the place of the factors.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/module.h"
#include "frame/one_based.h"
#include "sparse/ma48/column_factor.h"
#include "sparse/ma48/diagnostics.h"
#include "sparse/ma48/finite.h"
#include "sparse/ma48/keep_check.h"
#include "sparse/ma48/kernel_codes.h"
#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/ma48_routines.h"

namespace corvidnum {
namespace {

using Wide = std::int64_t;

/// The parts of IW:
///   | row orders M: those of each block from its first row on | work of the kernel M + 2N |
struct FactorisationWork {
  const OneBased<int> iw;
  const Wide m, n;

  OneBased<int> row_order(Wide first, Wide rows) const { return iw.part(first, rows); }
  OneBased<int> kernel_work() const { return iw.part(m + 1, m + 2 * n); }
};

/// One factorisation, in the steps above.
class Factorisation {
 public:
  Factorisation(int m, int n, int ne, int job, int la, double* a, int* irn, const int* jcn, int* keep,
                const double* cntl, const int* icntl, double* w, int* iw, int* info, double* rinfo);
  void run();

 private:
  /// Tells where a block stands in the matrix: its columns, rows and entries.
  struct Block {
    int number, first, order, rows, begin, entries;
    int last() const { return first + order - 1; }
  };

  bool arguments_are_good();
  bool keep_is_good();
  void find_old_factors();  // finds where the previous factors end and whether they lack dropped entries
  void scatter();           // fills A(1 .. NEWNE) with the permuted matrix
  bool leading_columns_survive(Wide copyAt) const;
  bool do_block(const Block& block);       // false: the run ends here
  bool is_triangular(const Block& block);  // with these values: every diagonal is an acceptable pivot
  int job_for(const Block& block) const;
  void make_local(const Block& block, int direction);
  double factor(const Block& block, int job);  // returns the operations
  bool account(const Block& block, double operations);
  void finish();

  KeepView<const int> constant_keep() const { return {keep_.at(1), m_, n_}; }
  int old_start(int block) const { return block == 1 ? 1 : keep_.block_start(block); }
  void demand(Wide length) { need_ = std::max(need_, length); }

  const int m_, n_, ne_, job_, la_;
  double* const a_;
  int* const irn_;
  const int* const jcn_;
  const KeepView<int> keep_;
  const int* const icntl_;
  double* const w_;
  const FactorisationWork work_;
  const OneBased<int> info_;
  double* const rinfo_;
  const Diagnostics diagnostics_;

  double kernel_cntl_[kMa50CntlLength];
  int kernel_icntl_[kMa50IcntlLength];
  int kernel_info_[kMa50InfoLength] = {};
  int blocks_ = 0;    // NB
  int kept_ = 0;      // NEWNE
  double tolerance_;  // TOL
  int status_ = 0;
  Wide need_ = 0;  // INFO(4)
  int rank_ = 0, dropped_ = 0;
  double operations_ = 0.0;
  Wide used_ = 0;  // KK: places of the factors so far
  // Places of the previous factors that nothing has overwritten yet.
  Wide old_begin_ = 1, old_end_ = 0;
  bool old_dropped_ = false;  // previous factors lack entries that were dropped
  bool leading_columns_stay_ = false;
  bool rewritten_ = false;  // some block's factors have another shape than before
  PlacesUsed places_ = {};
};

Factorisation::Factorisation(int m, int n, int ne, int job, int la, double* a, int* irn, const int* jcn,
                             int* keep, const double* cntl, const int* icntl, double* w, int* iw, int* info,
                             double* rinfo)
    : m_(m),
      n_(n),
      ne_(ne),
      job_(job),
      la_(la),
      a_(a),
      irn_(irn),
      jcn_(jcn),
      keep_(keep, m, n),
      icntl_(icntl),
      w_(w),
      work_{{iw, ma48_iw_length(m, n)}, m, n},
      info_(info, MA48_INFO_LENGTH),
      rinfo_(rinfo),
      diagnostics_(icntl),
      tolerance_(ma48_cntl(cntl, MA48_CNTL_PIVOT_TOLERANCE) > 0.0 ? ma48_cntl(cntl, MA48_CNTL_PIVOT_TOLERANCE)
                                                                  : 0.0) {
  std::copy_n(cntl, int{kMa50CntlLength}, kernel_cntl_);
  std::copy_n(icntl, int{kDenseBlockSize}, kernel_icntl_);
  kernel_icntl_[kPrintLevel - 1] = 0;
  kernel_icntl_[kLastColumns - 1] = 0;
  kernel_icntl_[kPivotChoice - 1] = 0;
}

void Factorisation::run() {
  if (!arguments_are_good() || !keep_is_good()) {
    info_(MA48_INFO_STATUS) = status_;
    return;
  }
  blocks_ = keep_.block_count();
  kept_ = keep_.off_diagonal_start(n_ + 1) - 1;
  need_ = ne_;
  if (job_ != MA48_FACTOR_FREELY) find_old_factors();
  if (job_ == MA48_FACTOR_SAME_ORDER && old_dropped_) {
    status_ = MA48_STATUS_BAD_JOB;
    finish();
    return;
  }
  scatter();
  Block block = {};
  bool goes_on = true;
  for (int number = 1, first = 1; number <= blocks_ && goes_on; ++number, first = block.last() + 1) {
    const int order = keep_.block_order(number);
    const int begin = keep_.diagonal_start(first);
    block = {
        number, first, order, blocks_ == 1 ? m_ : order, begin, keep_.diagonal_start(first + order) - begin};
    goes_on = do_block(block);
  }
  finish();
}

bool Factorisation::arguments_are_good() {
  if (m_ < 1 || n_ < 1) {
    status_ = MA48_STATUS_BAD_ORDER;
    diagnostics_.error(texts::kFactorisationSizes, {m_, n_});
  } else if (ne_ < 1) {
    status_ = MA48_STATUS_BAD_ENTRY_COUNT;
    diagnostics_.error(texts::kFactorisationEntries, {ne_});
  } else if (const Wide least = 2 * Wide{ne_}; la_ < least) {
    status_ = MA48_STATUS_TOO_SHORT;
    info_(MA48_INFO_FACTOR_LENGTH) = clamped_length(least);
    diagnostics_.error(texts::kFactorisationLength, {la_, clamped_length(least)});
  } else if (job_ < MA48_FACTOR_FREELY || job_ > MA48_FACTOR_SAME_ORDER) {
    status_ = MA48_STATUS_BAD_JOB;
    diagnostics_.error(texts::kFactorisationJob, {job_});
  }
  return status_ == 0;
}

bool Factorisation::keep_is_good() {
  if (!keep_is_analysed(constant_keep(), m_, n_, ne_) || !rows_lie_within_blocks(constant_keep(), irn_, m_) ||
      !map_is_in_range(jcn_, ne_) ||
      (job_ != MA48_FACTOR_FREELY && !keep_is_factorised(constant_keep(), irn_, m_, n_, la_))) {
    status_ = MA48_STATUS_INCOMPATIBLE;
    diagnostics_.error(texts::kFactorisationIncompatible);
  }
  return status_ == 0;
}

void Factorisation::find_old_factors() {
  for (int number = 1, first = 1; number <= blocks_; first += keep_.block_order(number), ++number) {
    const int order = keep_.block_order(number), sparse = keep_.block_kind(number);
    if (sparse < 0) continue;
    const int start = old_start(number);
    const Wide space = block_space(keep_.lower_end(first + order - 1), irn_[kept_ + start], order - sparse);
    old_end_ = std::max(old_end_, start - 1 + space);
    old_dropped_ |= irn_[kept_ + start - 1] != 0;
  }
}

/// Tells whether the factors of the columns that are not redone can stay: the copy of the values given then
/// has to fit behind all factors, and no entry may have been left out or summed.
bool Factorisation::leading_columns_survive(Wide copyAt) const {
  return job_ != MA48_FACTOR_FREELY && ma48_icntl(icntl_, MA48_ICNTL_COLUMNS_LAST) != 0 && kept_ == ne_ &&
         copyAt + ne_ <= la_;
}

void Factorisation::scatter() {
  const Wide behindFactors = std::max(Wide{ne_}, kept_ + old_end_);
  leading_columns_stay_ = leading_columns_survive(behindFactors);
  double* const given = a_ + (leading_columns_stay_ ? behindFactors : ne_);
  std::memcpy(given, a_, std::size_t(ne_) * sizeof(double));
  if (jcn_[0] > 0) {
    for (int k = 0; k < ne_; ++k) a_[jcn_[k] - 1] = given[k];
    return;
  }
  std::fill_n(a_, ne_, 0.0);
  a_[-jcn_[0] - 1] = given[0];
  for (int k = 1; k < ne_; ++k) a_[jcn_[k] - 1] += given[k];
}

bool Factorisation::do_block(const Block& block) {
  int job = job_for(block);
  if (keep_.block_kind(block.number) < 0) {
    if (is_triangular(block)) {
      rank_ += block.order;
      return true;
    }
    if (job_ == MA48_FACTOR_SAME_PIVOTS) {
      status_ = MA48_STATUS_INCOMPATIBLE;
      return false;
    }
    keep_.block_kind(block.number) = block.order;  // general from now on
    rewritten_ = true;
    job = MA48_FACTOR_FREELY;
  }
  make_local(block, -1);
  const double operations = factor(block, job);
  make_local(block, +1);
  return account(block, operations);
}

bool Factorisation::is_triangular(const Block& block) {
  bool good = all_finite(a_ + (block.begin - 1), block.entries);
  for (int j = block.first; j <= block.last(); ++j) {
    const double magnitude = std::fabs(a_[keep_.diagonal_start(j) - 1]);
    good &= magnitude > tolerance_ && has_reciprocal(magnitude);
    keep_.lower_end(j) = keep_.upper_end(j) = 0;
  }
  if (good && job_ != MA48_FACTOR_SAME_PIVOTS) keep_.block_start(block.number) = 0;
  return good;
}

/// Returns the JOB for a block: JOB 3 needs the order of its previous factors, so it becomes JOB 1 if they
/// have to move or the new factors of the blocks before have overwritten them. Those can write behind their
/// own end (old_begin_) only if this call drops entries: U lists are written whole before small ones are left
/// out.
int Factorisation::job_for(const Block& block) const {
  if (job_ != MA48_FACTOR_SAME_ORDER || keep_.block_kind(block.number) < 0) return job_;
  const Wide start = old_start(block.number);
  const bool unharmed = status_ != MA48_STATUS_TOO_SHORT && start == used_ + 1 && start >= old_begin_ &&
                        start - 1 +
                                block_space(keep_.lower_end(block.last()), irn_[kept_ + start],
                                            block.order - keep_.block_kind(block.number)) <=
                            old_end_;
  return unharmed ? MA48_FACTOR_SAME_ORDER : MA48_FACTOR_FREELY;
}

/// Shifts the row indices and column starts of the block: from numbers of the matrix to those of the block
/// (-1), or back (+1).
void Factorisation::make_local(const Block& block, int direction) {
  const int rowShift = direction * (block.first - 1), placeShift = direction * (block.begin - 1);
  if (rowShift != 0) {
    int* const rows = irn_ + (block.begin - 1);
    const int entries = block.entries;  // a local, which no store can alias, so the loop is vectorised
    for (int k = 0; k < entries; ++k) rows[k] += rowShift;
  }
  if (placeShift != 0) {
    for (int j = block.first; j <= block.last(); ++j) keep_.diagonal_start(j) += placeShift;
  }
}

double Factorisation::factor(const Block& block, int job) {
  const OneBased<int> order = work_.row_order(block.first, block.rows);
  for (int i = 1; i <= block.rows; ++i) order(i) = i;
  if (leading_columns_stay_) {
    kernel_icntl_[kLastColumns - 1] = keep_.left_to_last(blocks_, block.number);
  }
  const Wide at = kept_ + used_;
  const int givenOrder = 0;  // IQ(1)
  double operations = 0.0;
  places_ = factor_block({block.rows,
                          block.order,
                          block.entries,
                          job,
                          a_ + (block.begin - 1),
                          irn_ + (block.begin - 1),
                          &keep_.diagonal_start(block.first),
                          kernel_cntl_,
                          kernel_icntl_,
                          order.data(),
                          &givenOrder,
                          keep_.block_kind(block.number),
                          static_cast<int>(la_ - at),
                          a_ + at,
                          irn_ + at,
                          &keep_.lower_end(block.first),
                          &keep_.upper_end(block.first),
                          w_,
                          work_.kernel_work().data(),
                          kernel_info_,
                          &operations});
  if (job != MA48_FACTOR_SAME_PIVOTS) rewritten_ = true;
  return operations;
}

bool Factorisation::account(const Block& block, double operations) {
  const int status = kernel_info_[kStatus - 1], length = kernel_info_[kFactorLength - 1];
  if (status < 0 && status != kStoreTooShort) {
    status_ = status == kAfterDropping ? MA48_STATUS_BAD_JOB : MA48_STATUS_INCOMPATIBLE;
    return false;
  }
  operations_ += operations;
  old_begin_ = std::max(old_begin_, used_ + places_.lowEnd + 1);
  old_end_ = std::min(old_end_, used_ + places_.highBegin - 1);
  rank_ += kernel_info_[kRank - 1];
  dropped_ += kernel_info_[kDropped - 1];
  if (status == kStoreTooShort || status_ == MA48_STATUS_TOO_SHORT) {
    status_ = MA48_STATUS_TOO_SHORT;
    need_ += length;
    used_ = 0;  // the later blocks get the whole space, only to count what they need
    return job_ != MA48_FACTOR_SAME_PIVOTS;
  }
  demand(used_ + length + kept_);
  if (block.number > 1) keep_.block_start(block.number) = static_cast<int>(used_ + 1);
  const int fullColumns = block.order - keep_.block_kind(block.number);
  used_ += block_space(keep_.lower_end(block.last()), kernel_info_[kFullPartRows - 1], fullColumns);
  if (status == kRankDeficient) status_ = MA48_WARNING_RANK_DEFICIENT;
  return true;
}

void Factorisation::finish() {
  if (status_ >= 0 || status_ == MA48_STATUS_TOO_SHORT) demand(2 * Wide{ne_});
  keep_.block_count() = blocks_;
  if (status_ < 0 && rewritten_) mark_unfactorised(keep_);
  if (status_ == MA48_STATUS_BAD_JOB) diagnostics_.error(texts::kFactorisationDropped);
  if (status_ == MA48_STATUS_INCOMPATIBLE) diagnostics_.error(texts::kFactorisationIncompatible);
  info_(MA48_INFO_STATUS) = status_;
  info_(MA48_INFO_FACTOR_LENGTH) = clamped_length(need_);
  info_(MA48_INFO_RANK) = rank_;
  info_(MA48_INFO_DROPPED) = dropped_;
  *rinfo_ = operations_;
  dump_analysis(diagnostics_, constant_keep(), m_, n_, ma48_icntl(icntl_, MA48_ICNTL_COLUMNS_LAST) != 0);
  dump_factor_ends(diagnostics_, constant_keep(), n_);
}

}  // namespace
}  // namespace corvidnum

int ma48bd_(const int* m, const int* n, const int* ne, const int* job, const int* la, double* a, int* irn,
            const int* jcn, int* keep, const double* cntl, const int* icntl, double* w, int* iw, int* info,
            double* rinfo) {
  corvidnum::enter_library();
  corvidnum::Factorisation(*m, *n, *ne, *job, *la, a, irn, jcn, keep, cntl, icntl, w, iw, info, rinfo).run();
  return 0;
}
