#include "apps/solve/singularity.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>

#include "apps/common/wording.h"

namespace solve {
namespace {

using corvidnum::SparseDiagnosis;
using corvidnum::SparseIndices;

/// Returns "; name no. 1, 2, 3 and 4 more", or nothing if there are none.
std::string list(const char* name, const SparseIndices& found) {
  constexpr int kMostNamed = 10;
  if (found.count == 0) return "";
  const int named = std::min(found.count, kMostNamed);
  std::string text = fmt::format("; {} no. {}", name, fmt::join(found.index, found.index + named, ", "));
  if (found.count > named) text += fmt::format(" and {} more", found.count - named);
  return text;
}

std::string part(const char* name, const SparseIndices& equations, const SparseIndices& unknowns) {
  if (equations.count + unknowns.count == 0) return "";
  return fmt::format("; {} part: {}, {}", name, apps::counted(equations.count, "equation"),
                     apps::counted(unknowns.count, "unknown"));
}

std::string structural(const SparseDiagnosis& d, int order) {
  return fmt::format("the matrix is structurally singular: structural rank {}, order {}", d.structural_rank,
                     order) +
         list("unmatched equations", d.unmatched_equations) +
         list("unmatched unknowns", d.unmatched_unknowns) +
         part("over-determined", d.overdetermined_equations, d.overdetermined_unknowns) +
         part("under-determined", d.underdetermined_equations, d.underdetermined_unknowns);
}

std::string numerical(const SparseDiagnosis& d, int order) {
  std::string text = "the matrix is singular to working precision";
  if (0 <= d.numerical_rank && d.numerical_rank < order)
    text += fmt::format(": rank {}, order {}", d.numerical_rank, order);
  return text + list("equations without a pivot", d.dependent_equations) +
         list("unknowns without a pivot", d.dependent_unknowns);
}

/// Turns what is known of a matrix into what is known of its transpose.
void transpose(SparseDiagnosis& d) {
  std::swap(d.unmatched_equations, d.unmatched_unknowns);
  std::swap(d.overdetermined_equations, d.underdetermined_unknowns);
  std::swap(d.overdetermined_unknowns, d.underdetermined_equations);
  std::swap(d.dependent_equations, d.dependent_unknowns);
}

}  // namespace

std::string describe_singularity(corvidnum::SparseSolver& solver, bool transposed) {
  SparseDiagnosis diagnosis;
  if (solver.Diagnose(&diagnosis) != corvidnum::SparseStatus::Singular) return "the matrix is singular";
  if (transposed) transpose(diagnosis);
  const int order = solver.Report().order;
  return diagnosis.structural_rank < order ? structural(diagnosis, order) : numerical(diagnosis, order);
}

}  // namespace solve
