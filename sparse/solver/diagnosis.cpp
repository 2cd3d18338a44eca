// Finds where a matrix lacks rank, and its block triangular form, for the class SparseSolver.
//
// A structurally singular matrix is described by the coarse Dulmage-Mendelsohn decomposition. A numerically
// singular one is factorised once more by ma48, which leaves out the columns whose pivots would be at the
// level of rounding. The routines set an unknown without a pivot to exactly 0, and in the transposed system
// an equation without one, so that the solutions for right-hand sides without zeros name them.

#include <cfloat>
#include <cmath>
#include <memory>

#include "sparse/solver/solver.h"
#include "sparse/solver/structure.h"

namespace corvidnum::solver {
namespace {

/// Lists the places where a condition holds, counted from a base.
/// @return false: memory was refused
template <class Condition>
bool list_places(int order, int base, Condition holds, Array<int>& list) {
  int count = 0;
  for (int i = 0; i < order; ++i) count += holds(i);
  if (!list.allocate(count)) return false;
  count = 0;
  for (int i = 0; i < order; ++i)
    if (holds(i)) list[count++] = i + base;
  return true;
}

SparseIndices indices(const Array<int>& list) { return {list.data(), static_cast<int>(list.size())}; }

/// Sets right-hand sides of sizes from 1 to 2 without a pattern, so that no element of a solution vanishes by
/// chance.
void fill_unevenly(Array<double>& vector) {
  constexpr double kGoldenRatio = 0.6180339887498949;  // its multiples spread evenly between integers
  for (std::int64_t i = 0; i < vector.size(); ++i)
    vector[i] = 1 + std::fmod(static_cast<double>(i + 1) * kGoldenRatio, 1.0);
}

}  // namespace

SparseStatus Solver::diagnose(SparseDiagnosis* diagnosis) {
  if (made_ != SparseStatus::NotFactorised) return made_;
  if (!diagnosis) return take({SparseStatus::BadInput, -1});
  *diagnosis = {};
  if (!list_structural_faults(*diagnosis)) return SparseStatus::NoMemory;
  if (diagnosis->structural_rank < system_.order()) return SparseStatus::Singular;
  if (!system_.has_values() || state_ == SparseStatus::Factorised) return state_;
  if (!list_numerical_faults(*diagnosis)) return SparseStatus::NoMemory;
  return diagnosis->numerical_rank < system_.order() ? SparseStatus::Singular : state_;
}

bool Solver::list_structural_faults(SparseDiagnosis& diagnosis) {
  const Pattern pattern = system_.pattern();
  Array<int> row_of_column;
  CoarseDecomposition coarse;
  if (!maximum_matching(pattern, row_of_column, diagnosis.structural_rank)) return false;
  report_.structural_rank = diagnosis.structural_rank;
  if (diagnosis.structural_rank == pattern.order) return true;
  if (!coarse_decomposition(pattern, row_of_column, coarse)) return false;
  const int n = pattern.order, base = index_base_;
  const auto list_part = [&](const Array<Part>& parts, Part part, Array<int>& list) {
    return list_places(
        n, base, [&](int i) { return parts[i] == part; }, list);
  };
  const auto list_unmatched = [&](const Array<int>& unmatched, Array<int>& list) {
    if (!list.allocate(unmatched.size())) return false;
    for (std::int64_t k = 0; k < list.size(); ++k) list[k] = unmatched[k] + base;
    return true;
  };
  if (!list_unmatched(coarse.unmatched_rows, lists_.unmatched_rows) ||
      !list_unmatched(coarse.unmatched_columns, lists_.unmatched_columns) ||
      !list_part(coarse.part_of_row, Part::kOverDetermined, lists_.over_rows) ||
      !list_part(coarse.part_of_column, Part::kOverDetermined, lists_.over_columns) ||
      !list_part(coarse.part_of_row, Part::kUnderDetermined, lists_.under_rows) ||
      !list_part(coarse.part_of_column, Part::kUnderDetermined, lists_.under_columns))
    return false;
  diagnosis.unmatched_equations = indices(lists_.unmatched_rows);
  diagnosis.unmatched_unknowns = indices(lists_.unmatched_columns);
  diagnosis.overdetermined_equations = indices(lists_.over_rows);
  diagnosis.overdetermined_unknowns = indices(lists_.over_columns);
  diagnosis.underdetermined_equations = indices(lists_.under_rows);
  diagnosis.underdetermined_unknowns = indices(lists_.under_columns);
  return true;
}

/// Factorises with a limit on the pivots that begins at the level of rounding and rises until one falls
/// below.
bool Solver::list_numerical_faults(SparseDiagnosis& diagnosis) {
  constexpr double kStep = 10, kHighest = 1e-4;
  const std::unique_ptr<Engine> engine(make_ma48_engine(system_, report_.array_growths));
  if (!engine) return false;
  EngineSettings settings{};
  settings.threshold = 0.5;
  settings.blocks = true;
  const int n = system_.order();
  settings.pivot_tolerance = n * DBL_EPSILON;
  do {
    const SparseStatus status = engine->factorise(settings);
    if (status == SparseStatus::NoMemory) return false;
    diagnosis.numerical_rank = engine->facts().rank;
    settings.pivot_tolerance *= kStep;
  } while (diagnosis.numerical_rank == n && settings.pivot_tolerance < kHighest);
  fill_unevenly(b_);
  const auto list = [&](bool transposed, Array<int>& places) {
    if (!engine->solve(transposed, b_.data(), y_.data())) return false;
    return list_places(
        n, index_base_, [&](int i) { return y_[i] == 0; }, places);
  };
  if (!list(false, lists_.dependent_columns) || !list(true, lists_.dependent_rows)) return false;
  diagnosis.dependent_unknowns = indices(lists_.dependent_columns);
  diagnosis.dependent_equations = indices(lists_.dependent_rows);
  return true;
}

SparseStatus Solver::blocks(SparseBlocks* blocks) {
  if (made_ != SparseStatus::NotFactorised) return made_;
  if (!blocks) return take({SparseStatus::BadInput, -1});
  *blocks = {};
  const Pattern pattern = system_.pattern();
  Array<int> row_of_column;
  if (!maximum_matching(pattern, row_of_column, report_.structural_rank)) return SparseStatus::NoMemory;
  if (report_.structural_rank < pattern.order) return SparseStatus::Singular;
  if (!block_triangular_form(pattern, row_of_column, form_)) return SparseStatus::NoMemory;
  for (int& row : form_.row) row += index_base_;
  for (int& column : form_.column) column += index_base_;
  *blocks = {form_.blocks(), form_.block_begin.data(), form_.row.data(), form_.column.data()};
  return SparseStatus::Factorised;
}

}  // namespace corvidnum::solver
