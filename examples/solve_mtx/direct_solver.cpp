#include "examples/solve_mtx/direct_solver.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "sparse/ma48/ma48_routines.h"

namespace solve_mtx {
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

enum Status {
  kNotSettled = -8,
  kNoEstimate = -9,
  kUnsuitablePivots = -7,
  kStructurallySingular = -4,
  kNoRoom = -3,
  kFine = 0,
  kDeficient = 2
};

constexpr int kMostGrowths = 10;
constexpr int kLeastExponent = -5000;  // below those of all products
constexpr int kChoosePivots = 1, kSamePivots = 2;

std::size_t size(std::int64_t count) { return static_cast<std::size_t>(count); }

std::runtime_error refusal(const Matrix& matrix, const char* phase, int status) {
  if (status == kNoRoom)
    return std::runtime_error(fmt::format("{}: the {} needs more room than there is", matrix.name, phase));
  return std::runtime_error(fmt::format("{}: the {} ended with code {}", matrix.name, phase, status));
}

/// fraction * 2^exponent, which may be out of the range of a double.
struct Wide {
  double fraction;
  int exponent;
};

Wide wide(double value) {
  Wide w{};
  w.fraction = std::frexp(value, &w.exponent);
  return w;
}

Wide operator*(const Wide& a, const Wide& b) { return {a.fraction * b.fraction, a.exponent + b.exponent}; }

}  // namespace

DirectSolver::DirectSolver(const Matrix& matrix, const SolverSettings& settings)
    : matrix_(matrix), n_(matrix.rows), ne_(static_cast<int>(matrix.value.size())) {
  ma48id_(cntl_, icntl_);
  if (settings.threshold) cntl_[kThreshold] = *settings.threshold;
  if (!settings.block_form) icntl_[kSmallestBlock] = n_;
}

void DirectSolver::make_room(std::int64_t length) {
  // As many as an int counts are as far as it goes; the routines then tell that it is not enough.
  length = std::min<std::int64_t>(length, std::numeric_limits<int>::max() - 1);
  if (size(length) <= a_.size()) return;
  a_.resize(size(length));
  irn_.resize(size(length));
  jcn_.resize(size(length));
}

void DirectSolver::load_values(const std::vector<double>& values) {
  std::copy(values.begin(), values.end(), a_.begin());
}

int DirectSolver::run_analysis() {
  load_values(matrix_.value);
  std::copy(matrix_.row.begin(), matrix_.row.end(), irn_.begin());
  std::copy(matrix_.column.begin(), matrix_.column.end(), jcn_.begin());
  const int job = kChoosePivots, la = static_cast<int>(a_.size());
  double operations = 0;
  ma48ad_(&n_, &n_, &ne_, &job, &la, a_.data(), irn_.data(), jcn_.data(), keep_.data(), cntl_, icntl_,
          iw_.data(), info_, &operations);
  return info_[kStatus];
}

void DirectSolver::analyse() {
  // Told here, since a short file may announce an order that is too large for any array.
  if (ne_ < n_)
    throw Singular(fmt::format("{}:{}: the matrix is structurally singular: {} entries, order {}",
                               matrix_.name, matrix_.size_line, ne_, n_));
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
  if (status < kFine) throw refusal(matrix_, "analysis", status);
  largest_block_ = info_[kLargestBlock];
  duplicates_ = info_[kDuplicates];
  make_room(info_[kFactorLength]);
}

int DirectSolver::run_factorisation(const std::vector<double>& values, int job) {
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

void DirectSolver::factorise(const std::vector<double>& values, const std::string& name) {
  const int status = run_factorisation(values, kChoosePivots);
  if (status < kFine) throw refusal(matrix_, "factorisation", status);
  if (status == kDeficient || rank_ < n_)
    throw Singular(fmt::format("{}: the matrix is numerically singular: rank {}, order {}", name, rank_, n_));
}

bool DirectSolver::refactorise(const std::vector<double>& values) {
  const int status = run_factorisation(values, kSamePivots);
  if (status == kUnsuitablePivots || status == kDeficient) return false;
  if (status < kFine) throw refusal(matrix_, "refactorisation", status);
  return true;
}

Solution DirectSolver::solve(const std::vector<double>& b, bool transposed, Effort effort) {
  Solution solution;
  solution.x.assign(size(n_), 0.0);
  std::vector<double> rhs = b;
  const int trans = transposed ? 1 : 0, job = static_cast<int>(effort), la = static_cast<int>(a_.size());
  double error[3] = {};
  ma48cd_(&n_, &n_, &trans, &job, &la, a_.data(), irn_.data(), keep_.data(), cntl_, icntl_, rhs.data(),
          solution.x.data(), error, w_.data(), iw_.data(), info_);
  const int status = info_[kStatus];
  if (status < kFine && status != kNotSettled && status != kNoEstimate)
    throw refusal(matrix_, "solution", status);
  std::copy(error, error + 2, solution.backward_error);
  solution.forward_error = error[2];
  solution.refined = status != kNotSettled;
  solution.estimated = status == kFine;
  return solution;
}

Facts DirectSolver::facts() const {
  return {blocks(), largest_block_, duplicates_, structural_rank_, rank_, factor_entries(), operations_};
}

int DirectSolver::blocks() const { return keep(6 * std::int64_t{n_} + 5); }

std::int64_t DirectSolver::factor_entries() const {
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
std::int64_t DirectSolver::block_factor_entries(int block, int last_column) const {
  const std::int64_t n = n_, head = 2;
  const std::int64_t matrix_end = keep(6 * n + 2) - 1;
  const std::int64_t start = block == 1 ? 1 : keep(6 * n + 2 + 3 * block);
  const std::int64_t full_rows = irn_[size(matrix_end + start)];  // the block's second place
  const std::int64_t full_columns = keep(6 * n + 3 * block) - keep(6 * n + 1 + 3 * block);
  return keep(2 * n + last_column) - head + full_rows * full_columns;
}

std::vector<double> product(const Matrix& matrix, const std::vector<double>& values, bool transposed,
                            const std::vector<double>& x) {
  const std::vector<int>& to = transposed ? matrix.column : matrix.row;
  const std::vector<int>& from = transposed ? matrix.row : matrix.column;
  std::vector<double> y(x.size());
  for (std::size_t k = 0; k < values.size(); ++k) y[size(to[k] - 1)] += values[k] * x[size(from[k] - 1)];
  return y;
}

double uncertainty(DirectSolver& solver, std::vector<double> b, bool transposed) {
  constexpr double kRounding = std::numeric_limits<double>::epsilon() / 2;
  constexpr int kMostTries = 4;
  for (int tries = 0; tries < kMostTries; ++tries) {
    const Solution solution = solver.solve(b, transposed, Effort::kForwardError);
    if (!solution.refined || !solution.estimated) return NAN;
    const double* const error = solution.backward_error;
    if (error[1] > 0) return solution.forward_error;
    // The estimate is in proportion to the backward error, which luck may make less than a rounding.
    if (error[0] > 0) return solution.forward_error * std::max(1.0, kRounding / error[0]);
    // Nothing to scale: a system near by is less lucky.
    for (std::size_t i = 0; i < b.size(); ++i) b[i] -= b[i] / (1000.0 + static_cast<double>(i % 1000));
  }
  return 0;  // exact each time, as with a diagonal matrix or a solution of zeros
}

std::vector<double> balanced_right_hand_side(const Matrix& matrix, const std::vector<double>& values,
                                             bool transposed) {
  const std::vector<int>& row = transposed ? matrix.column : matrix.row;
  std::vector<double> b(size(matrix.rows));
  for (std::size_t k = 0; k < values.size(); ++k) {
    double& largest = b[size(row[k] - 1)];
    largest = std::max(largest, std::abs(values[k]));
  }
  constexpr double kGoldenRatio = 0.6180339887498949;  // its multiples spread evenly between integers
  for (std::size_t i = 0; i < b.size(); ++i) b[i] *= std::fmod(static_cast<double>(i + 1) * kGoldenRatio, 1);
  return b;
}

double scaled_residual(const Matrix& matrix, const std::vector<double>& values, bool transposed,
                       const std::vector<double>& x, const std::vector<double>& b) {
  const std::vector<int>& to = transposed ? matrix.column : matrix.row;
  const std::vector<int>& from = transposed ? matrix.row : matrix.column;
  const auto row = [&](std::size_t k) { return size(to[k] - 1); };
  const auto term = [&](std::size_t k) { return wide(values[k]) * wide(x[size(from[k] - 1)]); };
  // Each row is computed in units of its largest term, so that nothing that counts leaves the range.
  std::vector<int> unit(b.size());
  for (std::size_t i = 0; i < b.size(); ++i) unit[i] = b[i] != 0 ? wide(b[i]).exponent : kLeastExponent;
  for (std::size_t k = 0; k < values.size(); ++k)
    if (const Wide t = term(k); t.fraction != 0) unit[row(k)] = std::max(unit[row(k)], t.exponent);
  std::vector<double> residual(b.size()), scale(b.size());
  const auto subtract = [&](std::size_t i, const Wide& t) {
    const double value = std::ldexp(t.fraction, t.exponent - unit[i]);
    residual[i] -= value;
    scale[i] += std::abs(value);
  };
  for (std::size_t k = 0; k < values.size(); ++k) subtract(row(k), term(k));
  double worst = 0;
  for (std::size_t i = 0; i < b.size(); ++i) {
    subtract(i, wide(-b[i]));
    if (scale[i] > 0) worst = std::max(worst, std::abs(residual[i]) / scale[i]);
  }
  return worst;
}

}  // namespace solve_mtx
