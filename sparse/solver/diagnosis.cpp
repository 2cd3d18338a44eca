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

/// Sets right-hand sides of sizes from 1 to 2, so that no element of a solution vanishes by chance. No sum of
/// sines of different integers with rational factors is rational (theorem of Lindemann and Weierstrass), so
/// that matrices of whole numbers do not cancel them either.
void fill_unevenly(Array<double>& vector) {
  for (std::int64_t i = 0; i < vector.size(); ++i) vector[i] = 1.5 + std::sin(static_cast<double>(i + 1)) / 2;
}

int place_of_largest(const Array<double>& vector) {
  int place = 0;
  for (int i = 1; i < static_cast<int>(vector.size()); ++i)
    if (std::abs(vector[i]) > std::abs(vector[place])) place = i;
  return place;
}

}  // namespace

SparseStatus Solver::diagnose(SparseDiagnosis* diagnosis) {
  if (made_ != SparseStatus::NotFactorised) return made_;
  if (!diagnosis) return take({SparseStatus::BadInput, -1});
  *diagnosis = {};
  if (!list_structural_faults(*diagnosis)) return SparseStatus::NoMemory;
  if (diagnosis->structural_rank < system_.order()) return SparseStatus::Singular;
  if (!system_.has_values()) return state_;
  if (const SparseStatus tested = tested_state(); tested != SparseStatus::Singular) return tested;
  return list_numerical_faults(*diagnosis) ? SparseStatus::Singular : SparseStatus::NoMemory;
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

/// Factorises with a limit on the pivots that begins at the level of rounding and rises until what has pivots
/// above it is not singular to working precision. The triangular form is not used: pivots outside its
/// diagonal blocks may be the only ones.
bool Solver::list_numerical_faults(SparseDiagnosis& diagnosis) {
  constexpr double kStep = 10, kHighest = 1e-4;
  const std::unique_ptr<Engine> engine(make_ma48_engine(system_, report_.array_growths));
  if (!engine) return false;
  EngineSettings settings{};
  settings.threshold = 0.5;
  settings.blocks = false;
  const int n = system_.order();
  double condition = 0;
  settings.pivot_tolerance = n * DBL_EPSILON;
  do {
    const SparseStatus status = engine->factorise(settings);
    if (status == SparseStatus::NoMemory) return false;
    diagnosis.numerical_rank = engine->facts().rank;
    settings.pivot_tolerance *= kStep;
    if (!estimate_condition(*engine, condition)) return false;
  } while (condition >= kSingular && settings.pivot_tolerance < kHighest);
  if (diagnosis.numerical_rank == n) return list_by_null_vectors(*engine, diagnosis);
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

/// Names one equation and one unknown of a matrix whose pivots are all large, as those of some triangular
/// matrices are: the ones that weigh most in the left and in the right null vector. Without them the matrix
/// is regular, since the element of the inverse that belongs to them is about the largest.
bool Solver::list_by_null_vectors(Engine& engine, SparseDiagnosis& diagnosis) {
  const auto list = [&](bool left, Array<int>& places) {
    fill_unevenly(b_);
    for (int step = 0; step < 2; ++step)  // inverse iteration with S' S, or with S S'
      for (const bool transposed : {!left, left}) {
        if (!engine.solve(transposed, b_.data(), y_.data())) return false;
        const double size = std::abs(y_[place_of_largest(y_)]);
        for (int i = 0; i < system_.order(); ++i) b_[i] = y_[i] / size;
      }
    const int place = place_of_largest(b_);
    return list_places(
        system_.order(), index_base_, [=](int i) { return i == place; }, places);
  };
  if (!list(false, lists_.dependent_columns) || !list(true, lists_.dependent_rows)) return false;
  diagnosis.numerical_rank = system_.order() - 1;
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
