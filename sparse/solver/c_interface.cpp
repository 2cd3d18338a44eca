// The class SparseSolver behind an opaque handle, for C and Fortran.
//
// Each function passes its arguments on. What the class gives out as pointers into itself is copied to the
// caller's arrays, so that no host depends on the layout of a structure.

#include <algorithm>
#include <cstddef>
#include <limits>

#include "sparse/corvidnum_sparse.h"
#include "sparse/sparse_solver.h"

using corvidnum::SparseBlocks;
using corvidnum::SparseDiagnosis;
using corvidnum::SparseIndices;
using corvidnum::SparseMethod;
using corvidnum::SparseOption;
using corvidnum::SparseOptions;
using corvidnum::SparseReport;
using corvidnum::SparseSolver;
using corvidnum::SparseStatus;

/// The solver, and the diagnosis whose lists a caller copies one by one.
struct corvidnum_sparse : HostAllocated {
  corvidnum_sparse(int order, int entries, const int* rows, const int* columns, int index_base)
      : solver(order, entries, rows, columns, index_base) {}
  SparseSolver solver;
  SparseDiagnosis diagnosis;
};

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

constexpr bool same(SparseStatus status, corvidnum_sparse_status number) {
  return static_cast<int>(status) == static_cast<int>(number);
}
static_assert(same(SparseStatus::Solved, CORVIDNUM_SPARSE_SOLVED));
static_assert(same(SparseStatus::Unjudged, CORVIDNUM_SPARSE_UNJUDGED));
static_assert(same(SparseStatus::Factorised, CORVIDNUM_SPARSE_FACTORISED));
static_assert(same(SparseStatus::Inexact, CORVIDNUM_SPARSE_INEXACT));
static_assert(same(SparseStatus::Singular, CORVIDNUM_SPARSE_SINGULAR));
static_assert(same(SparseStatus::NotFactorised, CORVIDNUM_SPARSE_NOT_FACTORISED));
static_assert(same(SparseStatus::NotFinite, CORVIDNUM_SPARSE_NOT_FINITE));
static_assert(same(SparseStatus::NoMemory, CORVIDNUM_SPARSE_NO_MEMORY));
static_assert(same(SparseStatus::BadInput, CORVIDNUM_SPARSE_BAD_INPUT));

constexpr bool same(SparseMethod method, corvidnum_sparse_method number) {
  return static_cast<int>(method) == static_cast<int>(number);
}
static_assert(same(SparseMethod::automatic, CORVIDNUM_SPARSE_AUTOMATIC));
static_assert(same(SparseMethod::ma48, CORVIDNUM_SPARSE_MA48));
static_assert(same(SparseMethod::ma38, CORVIDNUM_SPARSE_MA38));

/// Returns the status that `operation` gives for a solver, if there is one.
template <class Operation>
int status_of(corvidnum_sparse* handle, Operation operation) {
  return handle ? static_cast<int>(operation(handle->solver)) : int{CORVIDNUM_SPARSE_NO_MEMORY};
}

/// Writes to what the caller may have left out.
template <class T>
void give(T* place, T value) {
  if (place) *place = value;
}

void copy(const int* from, std::ptrdiff_t count, int* to) {
  if (to && count > 0) std::copy(from, from + count, to);
}

double item_of(const SparseReport& report, int item) {
  switch (item) {
    case CORVIDNUM_SPARSE_REPORT_ORDER:
      return report.order;
    case CORVIDNUM_SPARSE_REPORT_ENTRIES:
      return report.entries;
    case CORVIDNUM_SPARSE_REPORT_DUPLICATES:
      return report.duplicates;
    case CORVIDNUM_SPARSE_REPORT_FIRST_FAULT:
      return static_cast<double>(report.first_fault);
    case CORVIDNUM_SPARSE_REPORT_METHOD:
      return static_cast<int>(report.method);
    case CORVIDNUM_SPARSE_REPORT_PREFERS_DIAGONAL:
      return report.prefers_diagonal;
    case CORVIDNUM_SPARSE_REPORT_GROWTH:
      return report.growth;
    case CORVIDNUM_SPARSE_REPORT_THRESHOLD:
      return report.threshold;
    case CORVIDNUM_SPARSE_REPORT_PATTERN_SYMMETRY:
      return report.pattern_symmetry;
    case CORVIDNUM_SPARSE_REPORT_DIAGONAL_ENTRIES:
      return report.diagonal_entries;
    case CORVIDNUM_SPARSE_REPORT_STRUCTURAL_RANK:
      return report.structural_rank;
    case CORVIDNUM_SPARSE_REPORT_RANK:
      return report.rank;
    case CORVIDNUM_SPARSE_REPORT_BLOCKS:
      return report.blocks;
    case CORVIDNUM_SPARSE_REPORT_FACTOR_ENTRIES:
      return static_cast<double>(report.factor_entries);
    case CORVIDNUM_SPARSE_REPORT_OPERATIONS:
      return report.operations;
    case CORVIDNUM_SPARSE_REPORT_CONDITION:
      return report.condition;
    case CORVIDNUM_SPARSE_REPORT_FACTORISATIONS:
      return report.factorisations;
    case CORVIDNUM_SPARSE_REPORT_REFACTORISATIONS:
      return report.refactorisations;
    case CORVIDNUM_SPARSE_REPORT_ARRAY_GROWTHS:
      return report.array_growths;
    case CORVIDNUM_SPARSE_REPORT_NEW_PIVOTS:
      return report.new_pivots;
    case CORVIDNUM_SPARSE_REPORT_RAISED_THRESHOLDS:
      return report.raised_thresholds;
    case CORVIDNUM_SPARSE_REPORT_CHANGED_METHODS:
      return report.changed_methods;
    case CORVIDNUM_SPARSE_REPORT_BACKWARD_ERROR:
      return report.backward_error;
    case CORVIDNUM_SPARSE_REPORT_FIRST_BACKWARD_ERROR:
      return report.first_backward_error;
    case CORVIDNUM_SPARSE_REPORT_CORRECTIONS:
      return report.corrections;
  }
  return kNone;
}

SparseIndices list_of(const SparseDiagnosis& diagnosis, int list) {
  switch (list) {
    case CORVIDNUM_SPARSE_UNMATCHED_EQUATIONS:
      return diagnosis.unmatched_equations;
    case CORVIDNUM_SPARSE_UNMATCHED_UNKNOWNS:
      return diagnosis.unmatched_unknowns;
    case CORVIDNUM_SPARSE_OVERDETERMINED_EQUATIONS:
      return diagnosis.overdetermined_equations;
    case CORVIDNUM_SPARSE_OVERDETERMINED_UNKNOWNS:
      return diagnosis.overdetermined_unknowns;
    case CORVIDNUM_SPARSE_UNDERDETERMINED_EQUATIONS:
      return diagnosis.underdetermined_equations;
    case CORVIDNUM_SPARSE_UNDERDETERMINED_UNKNOWNS:
      return diagnosis.underdetermined_unknowns;
    case CORVIDNUM_SPARSE_DEPENDENT_EQUATIONS:
      return diagnosis.dependent_equations;
    case CORVIDNUM_SPARSE_DEPENDENT_UNKNOWNS:
      return diagnosis.dependent_unknowns;
  }
  return {};
}

}  // namespace

// ---- The object

corvidnum_sparse* corvidnum_sparse_create(int order, int entries, const int* rows, const int* columns,
                                          int index_base) {
  return new corvidnum_sparse(order, entries, rows, columns, index_base);
}

void corvidnum_sparse_destroy(corvidnum_sparse* solver) { delete solver; }

int corvidnum_sparse_state(const corvidnum_sparse* solver) {
  return solver ? static_cast<int>(solver->solver.State()) : int{CORVIDNUM_SPARSE_NO_MEMORY};
}

// ---- Options

int corvidnum_sparse_set_option(corvidnum_sparse* solver, const char* name, double value) {
  return status_of(solver, [=](SparseSolver& s) {
    SparseOptions options = s.Options();
    return corvidnum::SetOption(&options, name, value) ? s.SetOptions(options) : SparseStatus::BadInput;
  });
}

double corvidnum_sparse_option(const corvidnum_sparse* solver, const char* name) {
  return solver ? corvidnum::GetOption(solver->solver.Options(), name) : kNone;
}

int corvidnum_sparse_option_table(int place, const char** name, const char** meaning, double* lowest,
                                  double* standard, double* highest) {
  int count = 0;
  const SparseOption* table = corvidnum::SparseOptionTable(&count);
  if (place < 0 || place >= count) return 0;
  const SparseOption& option = table[place];
  give(name, option.name);
  give(meaning, option.meaning);
  give(lowest, option.lowest);
  give(standard, option.standard);
  give(highest, option.highest);
  return 1;
}

// ---- Factors and solutions

int corvidnum_sparse_factorise(corvidnum_sparse* solver, const double* values) {
  return status_of(solver, [=](SparseSolver& s) { return s.Factorise(values); });
}

int corvidnum_sparse_refactorise(corvidnum_sparse* solver, const double* values) {
  return status_of(solver, [=](SparseSolver& s) { return s.Refactorise(values); });
}

int corvidnum_sparse_solve(corvidnum_sparse* solver, const double* b, double* x, int count) {
  return status_of(solver, [=](SparseSolver& s) { return s.Solve(b, x, count); });
}

int corvidnum_sparse_solve_transposed(corvidnum_sparse* solver, const double* b, double* x, int count) {
  return status_of(solver, [=](SparseSolver& s) { return s.SolveTransposed(b, x, count); });
}

int corvidnum_sparse_condition(corvidnum_sparse* solver, double* raw, double* equilibrated) {
  return status_of(solver, [=](SparseSolver& s) { return s.ConditionEstimate(raw, equilibrated); });
}

int corvidnum_sparse_forward_error(corvidnum_sparse* solver, const double* b, const double* x, int transposed,
                                   double* bound) {
  return status_of(solver,
                   [=](SparseSolver& s) { return s.ForwardErrorBound(b, x, transposed != 0, bound); });
}

// ---- What is known

double corvidnum_sparse_report(const corvidnum_sparse* solver, int item) {
  return item_of(solver ? solver->solver.Report() : SparseReport(), item);
}

const char* corvidnum_sparse_reason(const corvidnum_sparse* solver) {
  return solver ? solver->solver.Report().reason : "";
}

int corvidnum_sparse_diagnose(corvidnum_sparse* solver, int* structural_rank, int* numerical_rank) {
  return status_of(solver, [=](SparseSolver& s) {
    SparseDiagnosis& diagnosis = solver->diagnosis;
    const SparseStatus status = s.Diagnose(&diagnosis);
    give(structural_rank, diagnosis.structural_rank);
    give(numerical_rank, diagnosis.numerical_rank);
    return status;
  });
}

int corvidnum_sparse_indices(const corvidnum_sparse* solver, int list, int* indices, int length) {
  if (!solver) return 0;
  const SparseIndices found = list_of(solver->diagnosis, list);
  copy(found.index, std::min(found.count, length), indices);
  return found.count;
}

int corvidnum_sparse_blocks(corvidnum_sparse* solver, int* count, int* begin, int* row, int* column) {
  return status_of(solver, [=](SparseSolver& s) {
    SparseBlocks blocks;
    const SparseStatus status = s.Blocks(&blocks);
    give(count, blocks.count);
    if (blocks.count == 0) return status;
    copy(blocks.begin, std::ptrdiff_t{blocks.count} + 1, begin);
    copy(blocks.row, s.Report().order, row);
    copy(blocks.column, s.Report().order, column);
    return status;
  });
}

const char* corvidnum_sparse_status_text(int status) {
  return corvidnum::StatusText(static_cast<SparseStatus>(status));
}

const char* corvidnum_sparse_method_name(int method) {
  return corvidnum::MethodName(static_cast<SparseMethod>(method));
}
