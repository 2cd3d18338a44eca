// Class SparseSolver and its C interface, driven side by side: both must give the same statuses and the same
// bits, and what is called Solved must meet the bound of its backward error, computed here anew.

#include "sparse/sparse_solver.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "fuzz/bytes.h"
#include "fuzz/guarded_array.h"
#include "fuzz/sparse_entries.h"
#include "host/corvid_host.h"
#include "sparse/corvidnum_sparse.h"

namespace {

using corvidnum::SparseSolver, corvidnum::SparseStatus;
using fuzz::Bytes, fuzz::Doubles, fuzz::guarded, fuzz::Ints, fuzz::require;

std::size_t length(int count) { return static_cast<std::size_t>(std::max(count, 0)); }

/// Returns the componentwise backward error of x: the largest |b - A x| / (|A| |x| + |b|) of a row, in
/// extended precision.
double backward_error(const fuzz::Entries& a, const double* x, const double* b, bool transposed) {
  const auto n = static_cast<std::size_t>(a.rows);
  std::vector<long double> residual(b, b + n), size(n);
  for (std::size_t i = 0; i < n; ++i) size[i] = std::fabs(residual[i]);
  for (std::size_t k = 0; k < a.value.size(); ++k) {
    const auto i = static_cast<std::size_t>((transposed ? a.column : a.row)[k] - 1);
    const auto j = static_cast<std::size_t>((transposed ? a.row : a.column)[k] - 1);
    residual[i] -= static_cast<long double>(a.value[k]) * x[j];
    size[i] += std::fabs(static_cast<long double>(a.value[k]) * x[j]);
  }
  long double largest = 0;
  for (std::size_t i = 0; i < n; ++i)
    if (residual[i] != 0) largest = std::max(largest, std::fabs(residual[i]) / size[i]);
  return static_cast<double>(largest);
}

class Driver {
 public:
  explicit Driver(Bytes& bytes)
      : bytes_(bytes),
        tame_(bytes.flag()),
        base_(bytes.below(tame_ ? 2 : 3)),
        n_(bytes.below(16) == 0 ? bytes.between(tame_ ? 1 : -1, 60) : bytes.between(1, 9)),
        given_(fuzz::read_entries(bytes, n_, n_, tame_)) {}

  void run() {
    const int entries = given_.count();
    Ints rows(length(entries)), columns(length(entries));
    for (std::size_t k = 0; k < length(entries); ++k) {
      const bool safe = given_.has(k);  // else as it is, because the difference might overflow
      rows[k] = given_.row[k] - (safe ? 1 - base_ : 0),
      columns[k] = given_.column[k] - (safe ? 1 - base_ : 0);
    }
    SparseSolver solver(n_, entries, rows.data(), columns.data(), base_);
    corvidnum_sparse* const other = corvidnum_sparse_create(n_, entries, rows.data(), columns.data(), base_);
    same(solver.State(), corvidnum_sparse_state(other));
    for (int steps = 0; bytes_.left() && steps < 24; ++steps) step(solver, other);
    corvidnum_sparse_destroy(other);
  }

 private:
  static void same(SparseStatus status, int other) {
    require(static_cast<int>(status) >= 0 && status <= SparseStatus::BadInput, "a status is one of nine");
    require(static_cast<int>(status) == other, "class and C interface give the same status");
  }

  void step(SparseSolver& solver, corvidnum_sparse* other) {
    switch (bytes_.below(10)) {
      case 0:
      case 1:
        factorise(solver, other);
        break;
      case 2:
        refactorise(solver, other);
        break;
      case 3:
      case 4:
        solve(solver, other);
        break;
      case 5:
        set_option(solver, other);
        break;
      case 6:
        diagnose(solver, other);
        break;
      case 7:
        condition(solver, other);
        break;
      case 8:
        fuzz::change_values(bytes_, given_, tame_);
        break;
      default:
        factorise(solver, other), solve(solver, other);
    }
  }

  void factorise(SparseSolver& solver, corvidnum_sparse* other) {
    const Doubles values = guarded(given_.value);
    const SparseStatus status = solver.Factorise(values.data());
    same(status, corvidnum_sparse_factorise(other, values.data()));
    accept(status);
  }
  void refactorise(SparseSolver& solver, corvidnum_sparse* other) {
    const Doubles values = guarded(given_.value);
    const SparseStatus status = solver.Refactorise(values.data());
    same(status, corvidnum_sparse_refactorise(other, values.data()));
    accept(status);
  }
  void accept(SparseStatus status) {
    if (status == SparseStatus::Factorised) factorised_ = given_;
  }

  void solve(SparseSolver& solver, corvidnum_sparse* other) {
    const std::size_t n = length(n_);
    const int count = bytes_.below(8) == 0 ? bytes_.between(-1, 3) : 1;
    const bool transposed = bytes_.flag();
    Doubles b(n * length(count)), x(n * length(count)), y(n * length(count));
    for (double& element : b) element = bytes_.number(tame_);
    const SparseStatus status = transposed ? solver.SolveTransposed(b.data(), x.data(), count)
                                           : solver.Solve(b.data(), x.data(), count);
    same(status, transposed ? corvidnum_sparse_solve_transposed(other, b.data(), y.data(), count)
                            : corvidnum_sparse_solve(other, b.data(), y.data(), count));
    require(std::equal(x.begin(), x.end(), y.begin(), fuzz::same_bits),
            "class and C interface give the same solution");
    if (status != SparseStatus::Solved) return;
    for (std::size_t i = 0; i < x.size(); ++i) require(std::isfinite(x[i]), "a solution is finite");
    if (!tame_ || factorised_.rows != given_.rows) return;
    // Sums of a row are rounded where the object computes them.
    const double rounding = 100 * std::numeric_limits<double>::epsilon();
    for (std::size_t k = 0; k < length(count); ++k)
      require(backward_error(factorised_, x.data() + k * n, b.data() + k * n, transposed) <=
                  solver.Options().bound + rounding,
              "what is Solved meets the bound");
    double bound = 0;
    if (count == 1) {
      const SparseStatus known = solver.ForwardErrorBound(b.data(), x.data(), transposed, &bound);
      double again = 0;
      same(known, corvidnum_sparse_forward_error(other, b.data(), x.data(), transposed ? 1 : 0, &again));
    }
  }

  void set_option(SparseSolver& solver, corvidnum_sparse* other) {
    int count = 0;
    const corvidnum::SparseOption* const table = corvidnum::SparseOptionTable(&count);
    const corvidnum::SparseOption& option = table[bytes_.below(count)];
    double value = bytes_.flag() ? bytes_.between(-1, 3) : bytes_.number(tame_);
    if (tame_) value = std::min(std::max(value, option.lowest), option.highest);
    corvidnum::SparseOptions options = solver.Options();
    const bool taken = corvidnum::SetOption(&options, option.name, value);
    require(taken || (corvidnum::GetOption(options, option.name) ==
                      corvidnum::GetOption(solver.Options(), option.name)),
            "an option that is refused stays");
    if (taken) solver.SetOptions(options);
    corvidnum_sparse_set_option(other, option.name, value);
    require(fuzz::same_bits(corvidnum::GetOption(solver.Options(), option.name),
                            corvidnum_sparse_option(other, option.name)),
            "class and C interface have the same options");
  }

  void diagnose(SparseSolver& solver, corvidnum_sparse* other) {
    corvidnum::SparseDiagnosis diagnosis;
    const SparseStatus status = solver.Diagnose(&diagnosis);
    int structural = 0, numerical = 0;
    same(status, corvidnum_sparse_diagnose(other, &structural, &numerical));
    for (const corvidnum::SparseIndices& list :
         {diagnosis.unmatched_equations, diagnosis.unmatched_unknowns, diagnosis.overdetermined_equations,
          diagnosis.underdetermined_unknowns, diagnosis.dependent_equations, diagnosis.dependent_unknowns})
      for (int k = 0; k < list.count; ++k)
        require(list.index[k] >= base_ && list.index[k] < base_ + n_, "a list holds indices of the matrix");
    corvidnum::SparseBlocks blocks;
    Ints begin(length(n_) + 1), row(length(n_)), column(length(n_));
    int count = 0;
    same(solver.Blocks(&blocks),
         corvidnum_sparse_blocks(other, &count, begin.data(), row.data(), column.data()));
  }

  void condition(SparseSolver& solver, corvidnum_sparse* other) {
    double raw = 0, scaled = 0, other_raw = 0, other_scaled = 0;
    same(solver.ConditionEstimate(&raw, &scaled),
         corvidnum_sparse_condition(other, &other_raw, &other_scaled));
    require(fuzz::same_bits(raw, other_raw), "class and C interface give the same condition");
  }

  Bytes& bytes_;
  const bool tame_;
  const int base_, n_;
  fuzz::Entries given_, factorised_{0, 0, {}, {}, {}};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::int64_t blocks = corvid_host::LiveBlocks();
  Bytes bytes(data, size);
  Driver(bytes).run();
  require(corvid_host::LiveBlocks() == blocks, "all memory is given back");
  return 0;
}
