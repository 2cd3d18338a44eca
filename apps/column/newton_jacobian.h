#pragma once

// The whole column as one system of equations, with its sparse Jacobian.
//
// Unknowns, stage by stage: the liquid fractions x of all C components, then the temperature T; behind the
// stages the component flows of the ties. Equations in the same places: the component balances of a stage,
// then sum(K x) = 1; behind the stages what each tie draws. That sum(x) = 1 follows, since the total flows
// balance. With four stages and a vapour tie that draws on stage d and returns to stage r:
//
//     | B  C     .    |    | x, T of stage 0 |      B  what leaves the stage, by x and T; the last row of B
//     | A  B  C  -1   | r  |       ...       |         is the sum
//     |    A  B  C    |    |       ...       |      C  vapour from the stage below, by its x and T
//     |       A  B    |    |       ...       |      A  liquid from the stage above, by its x
//     |       D     1 |    |    tie flows    |      D  what the tie draws, by x and, for vapour, T
//             d
//
// As in the balances of a single component all flows are divided by the total feed.

#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"

namespace column {

/// A matrix by coordinates, counted from 1. No place is given twice.
struct SparseEntries {
  std::vector<int> rows, columns;
  std::vector<double> values;

  int size() const { return static_cast<int>(values.size()); }
};

class ColumnSystem {
 public:
  /// Keeps references to both.
  ColumnSystem(const ColumnCase& c, const InternalFlows& flows);

  int order() const { return stages() * (components() + 1) + ties() * components(); }
  int stages() const { return case_.stages; }
  int components() const { return components_; }

  /// Returns the index, from 0, of an unknown and of the equation that belongs to it.
  int liquid(int component, int stage) const { return stage * (components_ + 1) + component; }
  int temperature(int stage) const { return stage * (components_ + 1) + components_; }

  /// Returns the unknowns [order()] of a profile.
  std::vector<double> unknowns(const Profile& profile) const;

  /// Left side minus right side of all equations [order()].
  std::vector<double> residuals(const std::vector<double>& unknowns) const;
  /// Their derivatives. The places and their order are the same at any `unknowns`.
  SparseEntries jacobian(const std::vector<double>& unknowns) const;

 private:
  struct KValue {
    double value, slope;  // and its derivative by T
  };
  int ties() const { return static_cast<int>(case_.ties.size()); }
  int tie_flow(int component, int tie) const {
    return stages() * (components_ + 1) + tie * components_ + component;
  }
  KValue k_value(const std::vector<double>& unknowns, int component, int stage) const;
  std::vector<std::vector<KValue>> k_values(const std::vector<double>& unknowns) const;

  const ColumnCase& case_;
  const InternalFlows& flows_;
  const int components_;
  const double unit_;                            // 1/total feed
  std::vector<std::vector<double>> right_side_;  // feed to the stages, by component
};

}  // namespace column
