#include "apps/solve/structure.h"

#include <new>

namespace solve {
namespace {

using corvidnum::SparseIndices;
using corvidnum::SparseStatus;

std::vector<int> copy(const SparseIndices& found) { return {found.index, found.index + found.count}; }

RowsAndColumns copy(const SparseIndices& rows, const SparseIndices& columns) {
  return {copy(rows), copy(columns)};
}

}  // namespace

BlockForm block_form(corvidnum::SparseSolver& solver) {
  corvidnum::SparseBlocks blocks;
  if (!solver.Options().blocks) return {};
  const SparseStatus status = solver.Blocks(&blocks);
  if (status == SparseStatus::NoMemory) throw std::bad_alloc();  // to find none would be another answer
  if (status != SparseStatus::Factorised) return {};
  const int order = solver.Report().order;
  return {{blocks.begin, blocks.begin + blocks.count + 1},
          {blocks.row, blocks.row + order},
          {blocks.column, blocks.column + order}};
}

std::optional<Deficit> deficit(corvidnum::SparseSolver& solver) {
  corvidnum::SparseDiagnosis d;
  if (solver.Diagnose(&d) != SparseStatus::Singular) return std::nullopt;
  return Deficit{d.structural_rank, copy(d.unmatched_equations, d.unmatched_unknowns),
                 copy(d.overdetermined_equations, d.overdetermined_unknowns),
                 copy(d.underdetermined_equations, d.underdetermined_unknowns),
                 copy(d.dependent_equations, d.dependent_unknowns)};
}

}  // namespace solve
