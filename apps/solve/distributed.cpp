// Solves a system by MUMPS, in steps that all ranks take together:
//  1. Each rank reads the file piece by piece and keeps its part of the entries.
//  2. MUMPS analyses and factorises what the ranks have; rank 0 has the right-hand side and gets the
//     solution.
//  3. The solution goes to all ranks, each of which multiplies its entries with it. Rank 0 adds the
//     products up to the residual and judges: corrections follow, as long as they help.
//  4. If the solution is still inexact, steps 2 and 3 are repeated with a higher threshold of the pivot
//     test.
//  5. MUMPS estimates condition and forward error.
// What is judged is the same as for the other methods: the componentwise backward error (Arioli, Demmel and
// Duff, SIAM J. Matrix Anal. Appl. 10 (1989) 165-190). Only entries in the same place, which may be at
// several ranks, count one by one among the magnitudes |A| |x|, so that the error is smaller where they
// cancel.

#include "apps/solve/distributed.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "apps/common/input.h"
#include "apps/common/output.h"
#include "apps/common/progress.h"
#include "apps/common/toml_reader.h"
#include "apps/common/wording.h"
#include "apps/solve/mumps.h"
#include "apps/solve/system_page.h"

namespace solve {
namespace {

using corvidnum::SparseStatus;

constexpr int kBadInput = 1;  // the exit code
constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

/// What a rank has of the system.
struct Input {
  Matrix share;
  std::int64_t checksum = 0;  // of the whole file
  std::int64_t entries = 0;   // of all ranks
  std::vector<double> b;      // at rank 0
};

// ---- Reading

/// A file, compressed or not, piece by piece.
class Pieces {
 public:
  explicit Pieces(const std::string& path)
      : name_(apps::input_name(path)),
        file_(apps::is_standard_stream(path) ? gzdopen(0, "rb") : gzopen(path.c_str(), "rb"), gzclose) {
    if (!file_) throw apps::BadCase(fmt::format("{}: {}", name_, std::strerror(errno)));
  }

  /// Appends a piece to the text.
  /// @return false at the end
  bool operator()(std::string& text) {
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    const std::size_t begin = text.size();
    text.resize(begin + kPiece);
    const int count = gzread(file_.get(), text.data() + begin, kPiece);
    int fault = Z_OK;
    gzerror(file_.get(), &fault);
    if (count < 0 || fault == Z_BUF_ERROR) throw apps::BadCase(fmt::format("{}: {}", name_, reason(fault)));
    text.resize(begin + static_cast<std::size_t>(count));
    if (std::exchange(first_, false)) leave_out_mark(text);
    checksum_ = crc32_z(checksum_, reinterpret_cast<const Bytef*>(text.data() + begin), text.size() - begin);
    return count > 0;
  }

  /// Returns the checksum, by CRC-32, of all pieces so far.
  std::int64_t checksum() const { return static_cast<std::int64_t>(checksum_); }

 private:
  static const char* reason(int fault) {
    if (fault == Z_ERRNO) return std::strerror(errno);
    return fault == Z_BUF_ERROR ? "the compressed text is cut short" : "the compressed text is damaged";
  }

  static void leave_out_mark(std::string& text) {
    constexpr const char* kByteOrderMark = "\xef\xbb\xbf";
    if (text.rfind(kByteOrderMark, 0) == 0) text.erase(0, std::strlen(kByteOrderMark));
  }

  const std::string name_;
  std::unique_ptr<gzFile_s, int (*)(gzFile)> file_;
  bool first_ = true;
  uLong checksum_ = crc32_z(0, nullptr, 0);
};

/// Reads the share of this rank and the checksum of the file.
void read_own_share(const std::string& path, const apps::Processes& ranks, Input& input) {
  Pieces pieces(path);
  input.share = read_share([&pieces](std::string& text) { return pieces(text); },
                           std::string(apps::input_name(path)), {ranks.rank(), ranks.size()});
  expect_square(input.share);
  input.share.line.clear();
  input.share.line.shrink_to_fit();
  input.checksum = pieces.checksum();
}

/// Refuses a file that differs from that of rank 0. Processes on several machines may see different files
/// under one name, and each would take its share from another matrix.
/// @return false if the file of another rank was refused
/// @throws apps::BadCase
bool have_same_file(const Input& input, const apps::Processes& ranks) {
  const Matrix& share = input.share;
  const std::int64_t rows = ranks.from_first(std::int64_t{share.rows});
  const std::int64_t columns = ranks.from_first(std::int64_t{share.columns});
  const std::int64_t announced = ranks.from_first(share.announced);
  const std::int64_t checksum = ranks.from_first(input.checksum);
  return apps::together(ranks, [&] {
    if (share.rows != rows || share.columns != columns || share.announced != announced)
      throw apps::complaint(
          share.name, share.size_line,
          fmt::format("process {} reads a matrix of {} x {} with {}, but process 0 one of {} x {} with {}",
                      ranks.rank(), share.rows, share.columns, apps::counted(share.announced, "entry"), rows,
                      columns, apps::counted(announced, "entry")));
    if (input.checksum != checksum)
      throw apps::BadCase(
          fmt::format("{}: process {} reads another file than process 0: checksum {:08x}, not {:08x}",
                      share.name, ranks.rank(), input.checksum, checksum));
  });
}

// ---- Products with the matrix

/// One part of a matrix, and what all parts make together.
class Parts {
 public:
  Parts(const Matrix& share, bool transposed, const apps::Processes& ranks)
      : row_(transposed ? share.column : share.row),
        column_(transposed ? share.row : share.column),
        value_(share.value),
        order_(static_cast<std::size_t>(share.rows)),
        ranks_(ranks) {}

  /// Returns, at rank 0, the sums over each row of term(value, column from 0).
  template <class Term>
  std::vector<double> row_sums(Term term) const {
    std::vector<double> sums(order_, 0.0);
    for (std::size_t k = 0; k < value_.size(); ++k)
      sums[static_cast<std::size_t>(row_[k] - 1)] +=
          term(value_[k], static_cast<std::size_t>(column_[k] - 1));
    ranks_.add_up(sums);
    return sums;
  }

 private:
  const std::vector<int>&row_, &column_;
  const std::vector<double>& value_;
  const std::size_t order_;
  const apps::Processes& ranks_;
};

/// Judges solutions of one system.
class Judge {
 public:
  /// @param b  at rank 0
  Judge(const Parts& parts, const std::vector<double>& b, const apps::Processes& ranks)
      : parts_(parts),
        b_(b),
        ranks_(ranks),
        magnitudes_(parts.row_sums([](double value, std::size_t) { return std::abs(value); })) {}

  /// Returns, at all ranks, the componentwise backward error of x, and has residual() tell b - A x.
  /// @param x  of rank 0; out: at all ranks
  double error(std::vector<double>& x) {
    ranks_.spread(x);
    residual_ = parts_.row_sums([&x](double value, std::size_t j) { return value * x[j]; });
    const std::vector<double> terms =
        parts_.row_sums([&x](double value, std::size_t j) { return std::abs(value * x[j]); });
    if (ranks_.rank() != 0) return ranks_.from_first(0.0);
    for (std::size_t i = 0; i < b_.size(); ++i) residual_[i] = b_[i] - residual_[i];
    return ranks_.from_first(largest_quotient(x, terms));
  }

  const std::vector<double>& residual() const { return residual_; }

 private:
  /// An equation whose terms have all but vanished beside what they could be is judged by that instead.
  double largest_quotient(const std::vector<double>& x, const std::vector<double>& terms) const {
    double largest = 0;
    for (const double each : x) largest = std::max(largest, std::abs(each));
    const double vanishing = 1000 * kEpsilon * static_cast<double>(x.size());
    double omega = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
      const double left = std::abs(residual_[i]), all = std::abs(b_[i]) + terms[i];
      if (left == 0) continue;
      const double possible = largest * magnitudes_[i];
      const bool is_significant = !(all <= (possible + std::abs(b_[i])) * vanishing);
      const double quotient = left / (is_significant ? all : possible + terms[i]);
      if (!(quotient <= omega)) omega = quotient;
      if (std::isnan(omega)) break;
    }
    return std::isfinite(omega) ? omega : std::numeric_limits<double>::infinity();
  }

  const Parts& parts_;
  const std::vector<double>& b_;
  const apps::Processes& ranks_;
  const std::vector<double> magnitudes_;  // sums of the rows of |A|, at rank 0
  std::vector<double> residual_;          // at rank 0
};

// ---- Solving

/// One system by MUMPS.
class DistributedSolver {
 public:
  DistributedSolver(const Task& task, Input& input, apps::Processes& ranks)
      : task_(task),
        b_(input.b),
        ranks_(ranks),
        parts_(input.share, task.transpose, ranks),
        mumps_(input.share, input.entries, task.solver.threshold > 0 ? task.solver.threshold : -1),
        name_(input.share.name),
        order_(input.share.rows) {}

  /// @return at all ranks the same status; all else at rank 0
  Attempt attempt() {
    Attempt a;
    a.processes = ranks_.size();
    a.report.order = order_;
    a.report.reason = "asked for";
    if (factorise(a, [this] { return mumps_.factorise(); })) solve(a);
    raise_threshold(a);
    if (a.solved()) estimate(a);
    if (a.status == SparseStatus::Inexact)
      a.fault = std::isfinite(a.report.backward_error)
                    ? fmt::format("{}: the solution has a backward error of {:.1e}, above {:g}", name_,
                                  a.report.backward_error, task_.solver.bound)
                    : name_ + ": the solution is too large for numbers";
    return a;
  }

 private:
  /// @param run  has MUMPS do it
  template <class Run>
  bool factorise(Attempt& a, Run run) {
    const apps::Phase phase("factorising", a.factorise_time);
    if (!succeeds(run(), a)) return false;
    a.report.threshold = mumps_.threshold();
    a.report.factor_entries = mumps_.factor_entries();
    a.report.operations = mumps_.operations();
    a.largest_memory = mumps_.largest_memory();
    a.memory = mumps_.memory();
    return true;
  }

  /// Tells whether a second attempt brings a better solution than the first, which is inexact.
  static bool is_better(const Attempt& second, const Attempt& first) {
    if (second.status != SparseStatus::Inexact) return second.solved();
    const double error = first.report.backward_error;
    return !std::isfinite(error) || second.report.backward_error < error;
  }

  /// Factorises again, by larger pivots, while the solution is inexact, and keeps the best one. The threshold
  /// of MUMPS, 0.01, lets elements grow a hundredfold at each pivot.
  void raise_threshold(Attempt& a) {
    for (const double threshold : {0.1, 0.5, 1.0}) {
      if (a.status != SparseStatus::Inexact) return;
      if (threshold <= mumps_.threshold()) continue;
      Attempt next = a;
      ++next.report.raised_thresholds;
      next.report.corrections = 0;
      if (factorise(next, [&] { return mumps_.factorise_by(threshold); })) solve(next);
      if (next.status == SparseStatus::NoMemory) return;
      if (is_better(next, a)) {
        a = std::move(next);
      } else {
        ++a.report.raised_thresholds;
      }
    }
  }

  /// Solves, and corrects the solution as long as the error is above the bound and halves.
  void solve(Attempt& a) {
    constexpr double kHardlyEverMet = 1e-16;
    const double bound = task_.refine || task_.estimate ? kHardlyEverMet : task_.solver.bound;
    const apps::Phase phase("solving", a.solve_time);
    Judge judge(parts_, b_, ranks_);
    a.x = b_;
    if (!succeeds(mumps_.solve(a.x, task_.transpose), a)) return;
    a.x.resize(static_cast<std::size_t>(order_));
    double error = judge.error(a.x);
    a.report.first_backward_error = error;
    for (bool halved = true; halved && error > bound && a.report.corrections < task_.solver.corrections;) {
      std::vector<double> next = judge.residual();
      if (!succeeds(mumps_.solve(next, task_.transpose), a)) return;
      next.resize(a.x.size());
      for (std::size_t i = 0; i < next.size(); ++i) next[i] += a.x[i];
      const double left = judge.error(next);
      if (!(left < error)) break;
      a.x.swap(next);
      halved = left <= error / 2;
      error = left;
      ++a.report.corrections;
    }
    a.report.backward_error = error;
    a.status = error <= task_.solver.bound ? SparseStatus::Solved : SparseStatus::Inexact;
  }

  void estimate(Attempt& a) {
    const apps::Phase phase("checking", a.check_time);
    std::vector<double> x = b_;
    if (!succeeds(mumps_.solve(x, task_.transpose, true), a)) return;
    a.condition = mumps_.condition();
    a.forward_error = mumps_.forward_error();
  }

  /// Notes a failure.
  bool succeeds(Mumps::Status status, Attempt& a) {
    switch (status) {
      case Mumps::Status::kDone:
        return true;
      case Mumps::Status::kSingular:
        a.status = SparseStatus::Singular;
        a.fault = name_ + ": " + singularity(a);
        return false;
      case Mumps::Status::kNoMemory:
        a.status = SparseStatus::NoMemory;
        a.fault = name_ + ": the factors need more room than there is";
        return false;
      default:
        a.status = SparseStatus::BadInput;
        a.fault =
            fmt::format("{}: MUMPS fails with error {}, {}", name_, mumps_.error(), mumps_.error_detail());
        return false;
    }
  }

  std::string singularity(Attempt& a) const {
    constexpr std::size_t kMostNamed = 10;
    std::string text = "the matrix is singular to working precision";
    std::vector<int> found = mumps_.null_pivots();
    if (found.empty()) return text;
    std::sort(found.begin(), found.end());
    const auto named = static_cast<std::ptrdiff_t>(std::min(found.size(), kMostNamed));
    text += fmt::format(
        ": rank {}, order {}; {} without a pivot no. {}", order_ - static_cast<int>(found.size()), order_,
        task_.transpose ? "unknowns" : "equations", fmt::join(found.begin(), found.begin() + named, ", "));
    if (found.size() > kMostNamed) text += fmt::format(" and {} more", found.size() - kMostNamed);
    a.deficit.emplace();
    a.deficit->structural_rank = order_;
    a.deficit->dependent.rows = std::move(found);
    return text;
  }

  const Task& task_;
  const std::vector<double>& b_;
  apps::Processes& ranks_;
  const Parts parts_;
  Mumps mumps_;
  const std::string name_;
  const int order_;
};

// ---- The run

bool read(const Task& task, const apps::Processes& ranks, Input& input, Report& report) {
  const apps::Phase phase("reading", report.read_time);
  if (!apps::together(ranks, [&] { read_own_share(task.matrix_path, ranks, input); })) return false;
  if (!have_same_file(input, ranks)) return false;
  input.entries = ranks.sum(static_cast<std::int64_t>(input.share.value.size()));
  return apps::together(ranks, [&] {
    if (ranks.rank() != 0) return;
    if (!task.out_path.empty()) apps::check_writable(task.out_path);
    if (!task.rhs_path.empty()) input.b = read_vector(task.rhs_path, input.share.rows);
  });
}

void describe(const Task& task, const Input& input, Report& report) {
  report.file = apps::input_name(task.matrix_path);
  report.shows_solution = task.out_path.empty();
  report.transposed = task.transpose;
  report.estimate = task.estimate;
  report.order = input.share.rows;
  report.entries = static_cast<int>(input.entries);
}

/// Sets b to A times ones if none was given.
bool default_right_hand_side(const Task& task, const apps::Processes& ranks, Input& input) {
  if (!task.rhs_path.empty()) return true;
  const Parts parts(input.share, task.transpose, ranks);
  std::vector<double> b = parts.row_sums([](double value, std::size_t) { return value; });
  return apps::together(ranks, [&] {
    if (ranks.rank() != 0) return;
    expect_finite(b, input.share.name);
    input.b = std::move(b);
  });
}

/// @return false where another rank has told why it cannot go on
bool solve_together(const Task& task, apps::Processes& ranks, Input& input, Report& report) {
  const bool enough = apps::together(ranks, [&] {
    if (ranks.rank() == 0) expect_enough_entries(input.share, input.entries);
  });
  if (!enough || !default_right_hand_side(task, ranks, input)) return false;
  ranks.start_alone();
  report.found = DistributedSolver(task, input, ranks).attempt();
  return true;
}

/// Writes what is asked for, at rank 0.
void finish(const Task& task, const Report& report) {
  expect_solution(*report.found);
  if (!task.out_path.empty()) apps::write_file(task.out_path, vector_text(report.found->x));
}

}  // namespace

bool has_mumps() { return true; }

bool run_distributed(const Task& task, apps::Processes& ranks, Report& report) {
  Input input;
  if (!read(task, ranks, input, report)) return false;
  describe(task, input, report);
  const auto show = [&](const std::string& fault) {
    if (task.reports)
      task.reports->add(page_of(input.share, report, fault, task.solver.bound), entry_of(report, fault));
  };
  try {
    if (!solve_together(task, ranks, input, report)) return false;
    if (ranks.rank() != 0) return true;
    finish(task, report);
  } catch (const std::bad_alloc&) {
    if (ranks.size() == 1) throw;
    ranks.abort(apps::complain(kBadInput, apps::kMemoryRefused));
  } catch (const std::runtime_error& error) {
    show(error.what());
    throw;
  }
  show("");
  return true;
}

}  // namespace solve
