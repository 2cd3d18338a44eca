// Dense and bordered matrices, the singular value decomposition, and the search in a graph of bonds.

#include <cmath>
#include <memory>

#include "dense/arrow_matrix.h"
#include "dense/regular_matrix.h"
#include "dense/singular_value_decomposition.h"
#include "frame/empty_value.h"
#include "proof/faults/trial.h"
#include "tests/support/dense_reference.h"
#include "util/data_graph.h"

namespace faults {
namespace {

using reference::Vector;

/// Fills, factorises and solves; touches every operation of a matrix that lacks memory, too.
void use_matrix(Trial& trial, Matrix& matrix, int order) {
  for (int i = 0; i < order; ++i) {
    for (int j = 0; j < order; ++j) matrix(i, j) = i == j ? 5.0 + i : 1.0 / (1 + i + j);
  }
  const std::size_t size = static_cast<std::size_t>(order);
  Vector b(size, 1.0), x(size, 0.0);
  int info = 0;
  const bool solved = matrix.Solve(x.data(), b.data(), info) == Matrix::MatrixOK;
  trial.require(solved || !matrix.Valid(), "a matrix with its memory did not solve");
  // A bordered matrix whose list of non-zeros could not grow solves without the elements that it lost.
  if (!matrix.Valid()) trial.said(false);
  if (trial.said(solved)) trial.results(x);
  matrix.ZeroElements();
}

void regular(Trial& trial) {
  constexpr int kOrder = 12;
  const std::unique_ptr<RegularMatrix> matrix(new RegularMatrix(kOrder, kOrder));
  if (!trial.said(matrix != nullptr)) return;
  use_matrix(trial, *matrix, kOrder);
  trial.memory_is_back();
  Trial again;
  use_matrix(again, *matrix, kOrder);
  trial.require(again.complaint().empty(), "after the refusal: operations and Valid() disagree");
  trial.require(again.told() == !matrix->Valid(), "after the refusal: a valid matrix fails, or the reverse");
}

template <ArrowMatrix::TrackNZType kTrack>
void arrow(Trial& trial) {
  constexpr int kBand = 30, kBorder = 4, kReach = 2;
  int starts[kBorder], counts[kBorder], columns[kBorder * kBand];
  for (int r = 0; r < kBorder; ++r) {
    starts[r] = r * kBand, counts[r] = kBand;
    for (int c = 0; c < kBand; ++c) columns[r * kBand + c] = c;
  }
  const std::unique_ptr<ArrowMatrix> matrix(new ArrowMatrix(kBand, kReach, kReach, kBorder, kTrack));
  if (!trial.said(matrix != nullptr)) return;
  if (kTrack == ArrowMatrix::TrackProvided) matrix->ProvideNZ(starts, counts, columns);
  use_matrix(trial, *matrix, kBand + kBorder);
  trial.memory_is_back();
  Trial again;
  use_matrix(again, *matrix, kBand + kBorder);
  trial.require(again.complaint().empty(), "after the refusal: operations and Valid() disagree");
}

void least_squares(Trial& trial) {
  constexpr int kRows = 8, kColumns = 5;
  double values[kRows][kColumns], *rows[kRows], b[kRows], x[kColumns];
  for (int i = 0; i < kRows; ++i) {
    rows[i] = values[i];
    b[i] = i - 3.0;
    for (int j = 0; j < kColumns; ++j) values[i][j] = std::pow(0.3 + 0.2 * i, j);
  }
  SingularValueDecomposition svd(kRows, kColumns);
  const auto fit = [&](Trial& of) {
    if (of.said(svd.LinearLeastSquare(kRows, kColumns, x, b, rows, nullptr) != EmptyValue)) of.results(x);
  };
  fit(trial);
  const auto refused = corvid_host::RefusedAllocations();
  trial.memory_is_back();
  const bool has_arrays = svd.SVals() != nullptr;
  Trial again;
  fit(again);
  trial.require(again.told() == !has_arrays, "after the refusal: an object with its arrays fails");
  trial.require(corvid_host::RefusedAllocations() == refused, "the driver still refuses");
}

void free_links(Trial& trial) {
  unsigned valencies[] = {4, 4, 4, 4};
  const int answer = DataGraph_FreeLinks(4, valencies);
  if (trial.said(answer != -3)) trial.result(answer);
  trial.memory_is_back();
  trial.require(DataGraph_FreeLinks(4, valencies) >= 0, "after the refusal: no answer");
}

}  // namespace

std::vector<Scenario> dense_scenarios() {
  return {{"dense: RegularMatrix", regular},
          {"dense: ArrowMatrix, no list", arrow<ArrowMatrix::TrackNone>},
          {"dense: ArrowMatrix, own list", arrow<ArrowMatrix::TrackInternal>},
          {"dense: ArrowMatrix, list given", arrow<ArrowMatrix::TrackProvided>},
          {"dense: SingularValueDecomposition", least_squares},
          {"util: DataGraph_FreeLinks", free_links}};
}

}  // namespace faults
