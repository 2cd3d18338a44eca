#pragma once

// The balances of one component over all stages, as a linear system in its liquid fractions x.
//
// What leaves a stage equals what enters it. With stages 0 .. n-1 and one tie that draws on stage d and
// returns to stage r, and everything divided by the total feed:
//
//     | out -V K                  |    |   x(0)   |   | feed |      out  all that leaves: liquid + K vapour
//     | -L  out -V K           -1 | r  |   x(1)   |   |      |      -L   liquid from the stage above
//     |     -L  out -V K          |    |   ...    | = |      |      -V K vapour from the stage below
//     |         -L  out -V K      |    |  x(n-1)  |   |      |
//     |             -P         1  |    | tie flow |   |   0  |      -P   drawn by the tie (K P for vapour)
//                   d
//
// The tie's component flow is an unknown of its own, so that the stages stay tridiagonal however far the tie
// reaches: an arrow. Each column of the stage block sums up to what leaves the column there, so elimination
// is stable and cancels nothing.

#include <memory>
#include <vector>

#include "apps/column/column_case.h"
#include "apps/column/flows.h"
#include "dense/matrix.h"

namespace column {

enum class Solver { kArrow, kDense };

/// Builds the linear systems of one column.
class ComponentBalance {
 public:
  /// Keeps references to both.
  ComponentBalance(const ColumnCase& c, const InternalFlows& flows) : case_(c), flows_(flows) {}

  int stages() const { return case_.stages; }
  int ties() const { return static_cast<int>(case_.ties.size()); }
  int order() const { return stages() + ties(); }

  /// Makes a matrix of order() that a component's system fits in: an arrow matrix or a dense one.
  std::unique_ptr<Matrix> make_matrix(Solver solver) const;
  /// Fills `a`, a matrix of make_matrix(), for a component with K-values `k` [stages]. Overwrites all
  /// elements.
  void fill(Matrix& a, const std::vector<double>& k) const;
  /// Returns the right-hand side [order()]: the component's feed to each stage, over the total feed.
  std::vector<double> right_side(int component) const;

 private:
  const ColumnCase& case_;
  const InternalFlows& flows_;
};

}  // namespace column
