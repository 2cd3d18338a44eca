#include "apps/column/component_balance.h"

#include "dense/arrow_matrix.h"
#include "dense/regular_matrix.h"

namespace column {

std::unique_ptr<Matrix> ComponentBalance::make_matrix(Solver solver) const {
  if (solver == Solver::kDense) return std::make_unique<RegularMatrix>(order(), order());
  return std::make_unique<ArrowMatrix>(stages(), 1, 1, ties(), ArrowMatrix::TrackInternal);
}

void ComponentBalance::fill(Matrix& a, const std::vector<double>& k) const {
  const int n = stages();
  // Scales the pivots to about 1, because the solvers test them against absolute limits.
  const double unit = 1 / flows_.total_feed;
  a.ZeroElements();
  for (int j = 0; j < n; ++j) {
    a(j, j) = unit * (flows_.liquid_out[j] + k[j] * flows_.vapour_out[j]);
    if (j > 0) a(j, j - 1) = -unit * flows_.liquid[j - 1];
    if (j + 1 < n) a(j, j + 1) = -unit * k[j + 1] * flows_.vapour[j + 1];
  }
  for (int t = 0; t < ties(); ++t) {
    const Tie& tie = case_.ties[t];
    const double fraction_drawn = tie.phase == Phase::kVapour ? k[tie.from] : 1.0;
    a(tie.to, n + t) = -1;
    a(n + t, tie.from) = -unit * tie.rate * fraction_drawn;
    a(n + t, n + t) = 1;
  }
}

std::vector<double> ComponentBalance::right_side(int component) const {
  std::vector<double> b(order(), 0.0);
  for (const Feed& feed : case_.feeds) b[feed.stage] += feed.rates[component] / flows_.total_feed;
  return b;
}

}  // namespace column
