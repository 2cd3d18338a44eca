// The ma48 routines: with and without the block triangular form and with dense kernels of each level; factors
// with pivots chosen, repeated and chosen in the same order; solutions plain and refined.

#include <algorithm>
#include <cmath>
#include <string>

#include "proof/ratios/families.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/ma48_routines.h"

namespace ratios {
namespace {

using Ints = std::vector<int>;
using reference::Coordinates;

struct Way {
  const char* name;
  bool blocks;
  int dense_block_size;  // of the kernels; 1 and 0: BLAS of level 2 and 1
  double threshold;      // of the pivot test; 1: partial pivoting

  Family family() const { return threshold == 1.0 ? Family::kMa48Partial : Family::kMa48; }
};
constexpr Way kWays[] = {{"blocks", true, 32, 1.0},
                         {"one block, kernels by 4", false, 4, 1.0},
                         {"one block, level 2", false, 1, 1.0},
                         {"blocks, level 1", true, 0, 1.0},
                         {"defaults", true, 32, 0.1},
                         {"one block", false, 32, 0.1}};

/// The routines with all that they need.
class Ma48 {
 public:
  Ma48(const Coordinates& matrix, const Way& way)
      : matrix_(matrix),
        n_(matrix.n),
        la_(20 * matrix.entries() + 4 * n_ * n_ + 100),
        a_(la_),
        irn_(la_),
        jcn_(la_),
        keep_(ma48_keep_length(n_, n_)),
        iw_(ma48_iw_length(n_, n_)),
        w_(ma48_w_length(n_, n_)) {
    ma48id_(cntl_, icntl_);
    ma48_set_cntl(cntl_, MA48_CNTL_THRESHOLD, way.threshold);
    ma48_set_icntl(icntl_, MA48_ICNTL_SMALLEST_BLOCK, way.blocks ? 1 : std::max(n_, 1));
    ma48_set_icntl(icntl_, MA48_ICNTL_DENSE_BLOCK_SIZE, way.dense_block_size);
  }
  int info(MA48_Info position) const { return ma48_info(info_, position); }
  void take_structurally_singular() { ma48_set_icntl(icntl_, MA48_ICNTL_SINGULAR_IS_ERROR, 0); }
  int analyse() {
    const int job = MA48_ANALYSE_FREELY, ne = matrix_.entries();
    std::copy(matrix_.values.begin(), matrix_.values.end(), a_.begin());
    std::copy(matrix_.rows.begin(), matrix_.rows.end(), irn_.begin());
    std::copy(matrix_.columns.begin(), matrix_.columns.end(), jcn_.begin());
    ma48ad_(&n_, &n_, &ne, &job, &la_, a_.data(), irn_.data(), jcn_.data(), keep_.data(), cntl_, icntl_,
            iw_.data(), info_, &operations_);
    return info(MA48_INFO_STATUS);
  }
  int factor(MA48_FactorJob way) {
    const int job = way, ne = matrix_.entries();
    std::copy(matrix_.values.begin(), matrix_.values.end(), a_.begin());
    ma48bd_(&n_, &n_, &ne, &job, &la_, a_.data(), irn_.data(), jcn_.data(), keep_.data(), cntl_, icntl_,
            w_.data(), iw_.data(), info_, &operations_);
    return info(MA48_INFO_STATUS);
  }
  Vector solve(bool transposed, MA48_SolveJob way, Vector b) {
    const int job = way, trans = transposed;
    Vector x(b.size());
    ma48cd_(&n_, &n_, &trans, &job, &la_, a_.data(), irn_.data(), keep_.data(), cntl_, icntl_, b.data(),
            x.data(), error_, w_.data(), iw_.data(), info_);
    return x;
  }
  /// Multiplies the factors out.
  Product product();

 private:
  /// The factors of a general block, which begin at a place of A and IRN; places in it count from 1.
  struct Block {
    int first, order, sparse_columns;  // first: the place in the permuted matrix, from 0
    const double* fact;
    const int* irnf;
    const int *lower_end, *upper_end;  // of its columns, numbered from 1

    double real(int place) const { return fact[place - 1]; }
    int word(int place) const { return irnf[place - 1]; }
    int begin(int j) const { return j == 1 ? 3 : lower_end[j - 2] + 1; }
    int upper(int j) const { return upper_end[j - 1]; }
    int lower(int j) const { return lower_end[j - 1]; }
  };
  corvidnum::KeepView<int> view() { return {keep_.data(), n_, n_}; }
  void add_general_block(int block, int first, Product& permuted);
  static void add_multiple_of_lower_column(const Block& block, int j, Real factor, int column,
                                           Product& permuted);
  static void add_full_part(const Block& block, Product& permuted);

  const Coordinates& matrix_;
  int n_, la_;
  Vector a_;
  Ints irn_, jcn_, keep_, iw_;
  Vector w_;
  double cntl_[MA48_CNTL_LENGTH], error_[MA48_ERROR_LENGTH], operations_ = 0.0;
  int icntl_[MA48_ICNTL_LENGTH], info_[MA48_INFO_LENGTH];
};

/// Adds a term of the product.
void add(Product& product, int row, int column, Real term) {
  product.value(row, column) += term;
  product.magnitude(row, column) += std::fabs(term);
}

Product Ma48::product() {
  const corvidnum::KeepView<int> keep = view();
  Product permuted(n_);
  const auto add_entries = [&](int column, int begin, int end) {
    for (int k = begin; k < end; ++k) add(permuted, irn_[k - 1] - 1, column - 1, a_[k - 1]);
  };
  int first = 0;
  for (int block = 1; block <= keep.block_count(); ++block) {
    const int order = keep.block_order(block);
    if (keep.block_kind(block) >= 0) {
      add_general_block(block, first, permuted);
    } else {
      for (int j = first + 1; j <= first + order; ++j)
        add_entries(j, keep.diagonal_start(j), keep.diagonal_start(j + 1));
    }
    first += order;
  }
  for (int j = 1; j <= n_; ++j) add_entries(j, keep.off_diagonal_start(j), keep.off_diagonal_start(j + 1));
  Product result(n_);
  for (int j = 1; j <= n_; ++j) {
    for (int i = 1; i <= n_; ++i) {
      const int row = keep.row_place(i) - 1, column = keep.column_at(j) - 1;
      result.value(i - 1, column) = permuted.value(row, j - 1);
      result.magnitude(i - 1, column) = permuted.magnitude(row, j - 1);
    }
  }
  return result;
}

void Ma48::add_general_block(int block, int first, Product& permuted) {
  const corvidnum::KeepView<int> keep = view();
  const int begin = keep.off_diagonal_start(n_ + 1) - 1 + (block == 1 ? 1 : keep.block_start(block)) - 1;
  const Block b{first,
                keep.block_order(block),
                keep.block_kind(block),
                a_.data() + begin,
                irn_.data() + begin,
                keep.at(keep.iptrl() + first + 1),
                keep.at(keep.iptru() + first + 1)};
  // Column j of the matrix is column j of L, or of the full part, less the negative multiples of earlier
  // columns of L that stand in its U part.
  for (int j = 1; j <= b.order; ++j) {
    if (j <= b.sparse_columns) add_multiple_of_lower_column(b, j, 1.0, j, permuted);
    for (int k = b.begin(j); k <= b.upper(j); ++k)
      add_multiple_of_lower_column(b, b.word(k), -Real{b.real(k)}, j, permuted);
  }
  add_full_part(b, permuted);
}

/// The column of L begins with the reciprocal of its pivot, unless it has none.
void Ma48::add_multiple_of_lower_column(const Block& block, int j, Real factor, int column,
                                        Product& permuted) {
  const int pivot = block.upper(j) + 1;
  for (int k = pivot; k <= block.lower(j); ++k) {
    const Real value = k == pivot ? 1 / Real{block.real(k)} : Real{block.real(k)};
    add(permuted, block.first + block.word(k) - 1, block.first + column - 1, factor * value);
  }
}

/// The full part is P L U with columns without a pivot at its end, where negative data tell their places.
void Ma48::add_full_part(const Block& block, Product& permuted) {
  const int size = block.order - block.sparse_columns, rows = block.word(2);
  if (size == 0 || rows == 0) return;
  const int begin = block.lower(block.order) + 1, most = std::max(rows, size);
  const auto pivot = [&](int k) { return block.word(begin + rows + k); };  // k from 0
  int pivots = std::min(rows, size);
  while (pivots > 0 && pivot(pivots - 1) <= 0) --pivots;
  const auto element = [&](int i, int j) {
    return i < rows && j < size ? block.real(begin + j * rows + i) : 0.0;
  };
  const auto multiplied = [&](const auto& factors) {
    RealMatrix full = product_of_triangles(most, pivots, factors);
    for (int k = pivots - 1; k >= 0; --k) full.swap_rows(k, pivot(k) - 1);
    for (int k = pivots; k < size; ++k) full.swap_columns(k, -pivot(k) - 1);
    return full;
  };
  const RealMatrix value = multiplied(element),
                   magnitude = multiplied([&](int i, int j) { return std::fabs(element(i, j)); });
  for (int j = 0; j < size; ++j) {
    for (int i = 0; i < rows; ++i) {
      const int row = block.first + block.word(begin + i) - 1,
                column = block.first + block.sparse_columns + j;
      permuted.value(row, column) += value(i, j);
      permuted.magnitude(row, column) += magnitude(i, j);
    }
  }
}

/// Expects that a structurally singular matrix is an error, unless it is allowed.
/// @return whether there is an analysis
bool analysed(Ma48& routines, const Problem& problem, const Coordinates& entries, Findings& findings) {
  int status = routines.analyse();
  if (entries.entries() == 0) {
    findings.expect(status == MA48_STATUS_BAD_ENTRY_COUNT, "a matrix without entries is taken");
    return false;
  }
  if (status == MA48_STATUS_STRUCTURALLY_SINGULAR) {
    findings.expect(problem.singular() && problem.shape != Shape::kFull, "structurally singular");
    findings.expect(routines.info(MA48_INFO_STRUCTURAL_RANK) == rank(problem.kind, problem.order()),
                    "the structural rank is wrong");
    routines.take_structurally_singular();
    status = routines.analyse();
  }
  findings.expect(status >= 0, "status of the analysis: " + std::to_string(status));
  return status >= 0;
}

/// @return whether the system can be solved
bool factorised(Ma48& routines, const Way& way, MA48_FactorJob job, const Problem& problem,
                Findings& findings) {
  const int status = routines.factor(job), found = routines.info(MA48_INFO_RANK);
  findings.expect(status == (problem.singular() ? int{MA48_WARNING_RANK_DEFICIENT} : MA48_STATUS_OK),
                  "status of the factorisation: " + std::to_string(status));
  findings.expect(found == rank(problem.kind, problem.order()), "the rank is " + std::to_string(found));
  if (status >= 0) findings.factors(problem, routines.product(), way.threshold < 1.0);
  return status == MA48_STATUS_OK;
}

void judge_way(const Problem& problem, const Coordinates& entries, const Way& way, Findings& findings) {
  Ma48 routines(entries, way);
  if (!analysed(routines, problem, entries, findings)) return;
  for (const auto job : {MA48_FACTOR_FREELY, MA48_FACTOR_SAME_PIVOTS, MA48_FACTOR_SAME_ORDER}) {
    findings.begin(way.family(), problem, way.name + std::string(", JOB ") + std::to_string(job));
    if (!factorised(routines, way, job, problem, findings)) return;
    for (const bool transposed : {false, true}) {
      for (const auto solve_job : {MA48_SOLVE_ONLY, MA48_SOLVE_REFINE}) {
        judge_solutions(problem, transposed, findings, [&](const Vector& b) {
          const Vector x = routines.solve(transposed, solve_job, b);
          const int status = routines.info(MA48_INFO_STATUS);
          findings.expect(status == MA48_STATUS_OK, "status of a solution: " + std::to_string(status));
          return x;
        });
      }
    }
  }
}

}  // namespace

void judge_ma48(const Problem& problem, Findings& findings) {
  const Coordinates entries = entries_of(problem);
  for (const Way& way : kWays) {
    findings.begin(way.family(), problem, way.name);
    if (problem.order() == 0) {
      findings.expect(Ma48(entries, way).analyse() == MA48_STATUS_BAD_ORDER, "order 0 is taken");
      findings.refused(Refusal::kOrderZero);
    } else {
      judge_way(problem, entries, way, findings);
    }
  }
}

}  // namespace ratios
