#include "apps/solve/ma48_solver.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "sparse/ma48/ma48_routines.h"

namespace solve {
namespace {

// Elements of the arrays of the routines, from 0.
enum Control { kThreshold = 1 };
enum IntegerControl { kSmallestBlock = 5 };
enum Info {
  kStatus = 0,
  kAnalysisLength = 2,
  kFactorLength = 3,
  kRank = 4,
  kLargestBlock = 6,
  kStructuralRank = 9,
  kDuplicates = 10
};

enum Status { kUnsuitablePivots = -7, kStructurallySingular = -4, kNoRoom = -3, kFine = 0, kDeficient = 2 };

constexpr int kMostGrowths = 10;
constexpr int kChoosePivots = 1, kSamePivots = 2;

std::size_t size(std::int64_t count) { return static_cast<std::size_t>(count); }

}  // namespace

Ma48Solver::Ma48Solver(const Matrix& matrix, const SolverSettings& settings)
    : matrix_(matrix), n_(matrix.rows), ne_(static_cast<int>(matrix.value.size())) {
  ma48id_(cntl_, icntl_);
  if (settings.threshold) cntl_[kThreshold] = *settings.threshold;
  if (!settings.block_form) icntl_[kSmallestBlock] = n_;
}

void Ma48Solver::make_room(std::int64_t length) {
  // As many as an int counts are as far as it goes; the routines then tell that it is not enough.
  length = std::min<std::int64_t>(length, std::numeric_limits<int>::max() - 1);
  if (size(length) <= a_.size()) return;
  a_.resize(size(length));
  irn_.resize(size(length));
  jcn_.resize(size(length));
}

void Ma48Solver::load_values(const std::vector<double>& values) {
  std::copy(values.begin(), values.end(), a_.begin());
}

int Ma48Solver::run_analysis() {
  load_values(matrix_.value);
  std::copy(matrix_.row.begin(), matrix_.row.end(), irn_.begin());
  std::copy(matrix_.column.begin(), matrix_.column.end(), jcn_.begin());
  const int job = kChoosePivots, la = static_cast<int>(a_.size());
  double operations = 0;
  ma48ad_(&n_, &n_, &ne_, &job, &la, a_.data(), irn_.data(), jcn_.data(), keep_.data(), cntl_, icntl_,
          iw_.data(), info_, &operations);
  return info_[kStatus];
}

bool Ma48Solver::analyse() {
  keep_.assign(size(10 * std::int64_t{n_} + 7), 0);
  iw_.assign(size(9 * std::int64_t{n_}), 0);
  w_.assign(size(4 * std::int64_t{n_}), 0.0);
  make_room(4 * std::int64_t{ne_} + n_);
  int status = run_analysis();
  for (int growth = 0; status == kNoRoom && growth < kMostGrowths; ++growth) {
    make_room(std::max<std::int64_t>(info_[kAnalysisLength], 2 * static_cast<std::int64_t>(a_.size())));
    status = run_analysis();
  }
  structural_rank_ = info_[kStructuralRank];
  if (status == kStructurallySingular)
    throw Singular(fmt::format("{}: the matrix is structurally singular: structural rank {}, order {}",
                               matrix_.name, structural_rank_, n_));
  if (status < kFine) throw refusal(matrix_, "analysis", status == kNoRoom, status);
  largest_block_ = info_[kLargestBlock];
  duplicates_ = info_[kDuplicates];
  make_room(info_[kFactorLength]);
  return true;
}

int Ma48Solver::run_factorisation(const std::vector<double>& values, int job) {
  for (int growth = 0;; ++growth) {
    load_values(values);
    const int la = static_cast<int>(a_.size());
    ma48bd_(&n_, &n_, &ne_, &job, &la, a_.data(), irn_.data(), jcn_.data(), keep_.data(), cntl_, icntl_,
            w_.data(), iw_.data(), info_, &operations_);
    if (info_[kStatus] != kNoRoom || growth == kMostGrowths) break;
    make_room(std::max<std::int64_t>(info_[kFactorLength], la + std::int64_t{ne_}));
  }
  rank_ = info_[kRank];
  return info_[kStatus];
}

void Ma48Solver::factorise(const std::vector<double>& values, const std::string& name) {
  const int status = run_factorisation(values, kChoosePivots);
  if (status < kFine) throw refusal(matrix_, "factorisation", status == kNoRoom, status);
  if (status == kDeficient || rank_ < n_)
    throw Singular(fmt::format("{}: the matrix is numerically singular: rank {}, order {}", name, rank_, n_));
}

bool Ma48Solver::refactorise(const std::vector<double>& values) {
  const int status = run_factorisation(values, kSamePivots);
  if (status == kUnsuitablePivots || status == kDeficient) return false;
  if (status < kFine) throw refusal(matrix_, "refactorisation", status == kNoRoom, status);
  return true;
}

Solution Ma48Solver::solve(const std::vector<double>& b, bool transposed, Effort effort) {
  Solution solution;
  solution.x.assign(size(n_), 0.0);
  std::vector<double> rhs = b;
  const int trans = transposed ? 1 : 0, la = static_cast<int>(a_.size());
  const int job = static_cast<int>(std::min(effort, Effort::kBackwardErrors));
  double error[3] = {};
  ma48cd_(&n_, &n_, &trans, &job, &la, a_.data(), irn_.data(), keep_.data(), cntl_, icntl_, rhs.data(),
          solution.x.data(), error, w_.data(), iw_.data(), info_);
  const int status = info_[kStatus];
  if (status < kFine) throw refusal(matrix_, "solution", status == kNoRoom, status);
  if (effort >= Effort::kBackwardErrors) solution.backward_errors = {error[0], error[1]};
  return solution;
}

Facts Ma48Solver::facts() const {
  Facts facts;
  facts.blocks = blocks();
  facts.largest_block = largest_block_;
  facts.duplicates = duplicates_;
  facts.structural_rank = structural_rank_;
  facts.rank = rank_;
  facts.factor_entries = factor_entries();
  facts.operations = operations_;
  return facts;
}

int Ma48Solver::blocks() const { return keep(6 * std::int64_t{n_} + 5); }

std::int64_t Ma48Solver::factor_entries() const {
  const std::int64_t n = n_, orders = 6 * n, kinds = 6 * n + 1, starts = 4 * n, off_starts = 5 * n + 1;
  std::int64_t count = keep(off_starts + n + 1) - keep(off_starts + 1);
  std::int64_t column = 0;  // columns of the blocks so far
  for (int block = 1; block <= blocks(); ++block) {
    const std::int64_t last = column + keep(orders + 3 * block);
    if (keep(kinds + 3 * block) < 0)  // triangular: its entries are its factors
      count += keep(starts + last + 1) - keep(starts + column + 1);
    else
      count += block_factor_entries(block, static_cast<int>(last));
    column = last;
  }
  return count;
}

/// A block's factors begin with two places of its own, its sparse columns and, with MF rows, its full part.
std::int64_t Ma48Solver::block_factor_entries(int block, int last_column) const {
  const std::int64_t n = n_, head = 2;
  const std::int64_t matrix_end = keep(6 * n + 2) - 1;
  const std::int64_t start = block == 1 ? 1 : keep(6 * n + 2 + 3 * block);
  const std::int64_t full_rows = irn_[size(matrix_end + start)];  // the block's second place
  const std::int64_t full_columns = keep(6 * n + 3 * block) - keep(6 * n + 1 + 3 * block);
  return keep(2 * n + last_column) - head + full_rows * full_columns;
}

}  // namespace solve
