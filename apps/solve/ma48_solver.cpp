#include "apps/solve/ma48_solver.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "sparse/ma48/ma48_codes.h"
#include "sparse/ma48/ma48_routines.h"

namespace solve {
namespace {

constexpr int kMostGrowths = 10;

std::size_t size(std::int64_t count) { return static_cast<std::size_t>(count); }

}  // namespace

Ma48Solver::Ma48Solver(const Matrix& matrix, const SolverSettings& settings)
    : matrix_(matrix), n_(matrix.rows), ne_(static_cast<int>(matrix.value.size())) {
  ma48id_(cntl_, icntl_);
  if (settings.threshold) ma48_set_cntl(cntl_, MA48_CNTL_THRESHOLD, *settings.threshold);
  if (!settings.block_form) ma48_set_icntl(icntl_, MA48_ICNTL_SMALLEST_BLOCK, n_);
}

void Ma48Solver::make_room(std::int64_t length) {
  // The routines count in an int. Where even the longest array is too short, they say so.
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
  const int job = MA48_ANALYSE_FREELY, la = static_cast<int>(a_.size());
  double operations = 0;
  ma48ad_(&n_, &n_, &ne_, &job, &la, a_.data(), irn_.data(), jcn_.data(), keep_.data(), cntl_, icntl_,
          iw_.data(), info_, &operations);
  return info(MA48_INFO_STATUS);
}

bool Ma48Solver::analyse() {
  keep_.assign(size(ma48_keep_length(n_, n_)), 0);
  iw_.assign(size(ma48_iw_length(n_, n_)), 0);
  w_.assign(size(ma48_w_length(n_, n_)), 0.0);
  make_room(4 * std::int64_t{ne_} + n_);
  int status = run_analysis();
  for (int growth = 0; status == MA48_STATUS_TOO_SHORT && growth < kMostGrowths; ++growth) {
    make_room(
        std::max<std::int64_t>(info(MA48_INFO_ANALYSIS_LENGTH), 2 * static_cast<std::int64_t>(a_.size())));
    status = run_analysis();
  }
  structural_rank_ = info(MA48_INFO_STRUCTURAL_RANK);
  if (status == MA48_STATUS_STRUCTURALLY_SINGULAR)
    throw Singular(fmt::format("{}: the matrix is structurally singular: structural rank {}, order {}",
                               matrix_.name, structural_rank_, n_));
  if (status < MA48_STATUS_OK) throw refusal(matrix_, "analysis", status == MA48_STATUS_TOO_SHORT, status);
  largest_block_ = info(MA48_INFO_LARGEST_BLOCK);
  duplicates_ = info(MA48_INFO_DUPLICATES);
  make_room(info(MA48_INFO_FACTOR_LENGTH));
  return true;
}

int Ma48Solver::run_factorisation(const std::vector<double>& values, int job) {
  for (int growth = 0;; ++growth) {
    load_values(values);
    const int la = static_cast<int>(a_.size());
    ma48bd_(&n_, &n_, &ne_, &job, &la, a_.data(), irn_.data(), jcn_.data(), keep_.data(), cntl_, icntl_,
            w_.data(), iw_.data(), info_, &operations_);
    if (info(MA48_INFO_STATUS) != MA48_STATUS_TOO_SHORT || growth == kMostGrowths) break;
    make_room(std::max<std::int64_t>(info(MA48_INFO_FACTOR_LENGTH), la + std::int64_t{ne_}));
  }
  rank_ = info(MA48_INFO_RANK);
  return info(MA48_INFO_STATUS);
}

void Ma48Solver::factorise(const std::vector<double>& values, const std::string& name) {
  const int status = run_factorisation(values, MA48_FACTOR_FREELY);
  if (status < MA48_STATUS_OK)
    throw refusal(matrix_, "factorisation", status == MA48_STATUS_TOO_SHORT, status);
  if (ma48_warned(info_, MA48_WARNING_RANK_DEFICIENT) || rank_ < n_)
    throw Singular(fmt::format("{}: the matrix is numerically singular: rank {}, order {}", name, rank_, n_));
}

bool Ma48Solver::refactorise(const std::vector<double>& values) {
  const int status = run_factorisation(values, MA48_FACTOR_SAME_PIVOTS);
  if (status == MA48_STATUS_INCOMPATIBLE || ma48_warned(info_, MA48_WARNING_RANK_DEFICIENT)) return false;
  if (status < MA48_STATUS_OK)
    throw refusal(matrix_, "refactorisation", status == MA48_STATUS_TOO_SHORT, status);
  return true;
}

Solution Ma48Solver::solve(const std::vector<double>& b, bool transposed, Effort effort) {
  Solution solution;
  solution.x.assign(size(n_), 0.0);
  std::vector<double> rhs = b;
  const int trans = transposed ? 1 : 0, la = static_cast<int>(a_.size());
  const int job = effort == Effort::kPlain ? MA48_SOLVE_ONLY : MA48_SOLVE_BACKWARD_ERRORS;
  double error[MA48_ERROR_LENGTH] = {};
  ma48cd_(&n_, &n_, &trans, &job, &la, a_.data(), irn_.data(), keep_.data(), cntl_, icntl_, rhs.data(),
          solution.x.data(), error, w_.data(), iw_.data(), info_);
  const int status = info(MA48_INFO_STATUS);
  if (status < MA48_STATUS_OK) throw refusal(matrix_, "solution", status == MA48_STATUS_TOO_SHORT, status);
  if (effort >= Effort::kBackwardErrors)
    solution.backward_errors = {ma48_error(error, MA48_ERROR_OMEGA1), ma48_error(error, MA48_ERROR_OMEGA2)};
  return solution;
}

Facts Ma48Solver::facts() const {
  const int la = static_cast<int>(irn_.size());
  Facts facts;
  facts.blocks = ma48blocks_(&n_, &n_, keep_.data(), nullptr, nullptr);
  facts.largest_block = largest_block_;
  facts.duplicates = duplicates_;
  facts.structural_rank = structural_rank_;
  facts.rank = rank_;
  facts.factor_entries = ma48entries_(&n_, &n_, &la, irn_.data(), keep_.data());
  facts.operations = operations_;
  return facts;
}

}  // namespace solve
