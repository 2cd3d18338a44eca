#include "apps/column/newton_jacobian.h"

#include <cmath>
#include <utility>

#include "apps/column/component_balance.h"

namespace column {
namespace {

/// Collects entries with numbers that count from 0.
class Collector {
 public:
  void add(int row, int column, double value) {
    entries_.rows.push_back(row + 1);
    entries_.columns.push_back(column + 1);
    entries_.values.push_back(value);
  }
  SparseEntries take() { return std::move(entries_); }

 private:
  SparseEntries entries_;
};

}  // namespace

ColumnSystem::ColumnSystem(const ColumnCase& c, const InternalFlows& flows)
    : case_(c), flows_(flows), components_(c.model->components()), unit_(1 / flows.total_feed) {
  const ComponentBalance balance(c, flows);
  for (int i = 0; i < components_; ++i) right_side_.push_back(balance.right_side(i));
}

ColumnSystem::KValue ColumnSystem::k_value(const std::vector<double>& unknowns, int component,
                                           int stage) const {
  const LnK ln_k = case_.model->ln_k(component, unknowns[temperature(stage)], case_.pressure);
  const double k = std::exp(ln_k.value);
  return {k, k * ln_k.slope};
}

/// Returns the K-values as [stage][component].
std::vector<std::vector<ColumnSystem::KValue>> ColumnSystem::k_values(
    const std::vector<double>& unknowns) const {
  std::vector<std::vector<KValue>> k(stages());
  for (int j = 0; j < stages(); ++j)
    for (int i = 0; i < components_; ++i) k[j].push_back(k_value(unknowns, i, j));
  return k;
}

std::vector<double> ColumnSystem::unknowns(const Profile& profile) const {
  std::vector<double> u(order());
  for (int j = 0; j < stages(); ++j) {
    u[temperature(j)] = profile.temperature[j];
    for (int i = 0; i < components_; ++i) u[liquid(i, j)] = profile.liquid[i][j];
  }
  for (int t = 0; t < ties(); ++t) {
    const Tie& tie = case_.ties[t];
    for (int i = 0; i < components_; ++i)
      u[tie_flow(i, t)] = unit_ * tie.rate * profile.liquid[i][tie.from] *
                          (tie.phase == Phase::kVapour ? profile.k[i][tie.from] : 1.0);
  }
  return u;
}

std::vector<double> ColumnSystem::residuals(const std::vector<double>& unknowns) const {
  const int n = stages();
  const std::vector<std::vector<KValue>> k = k_values(unknowns);
  std::vector<double> r(order());
  for (int j = 0; j < n; ++j) {
    double vapour_sum = 0;
    for (int i = 0; i < components_; ++i) {
      const double x = unknowns[liquid(i, j)], y = k[j][i].value * x;
      vapour_sum += y;
      double out = flows_.liquid_out[j] * x + flows_.vapour_out[j] * y;
      if (j > 0) out -= flows_.liquid[j - 1] * unknowns[liquid(i, j - 1)];
      if (j + 1 < n) out -= flows_.vapour[j + 1] * k[j + 1][i].value * unknowns[liquid(i, j + 1)];
      r[liquid(i, j)] = unit_ * out - right_side_[i][j];
    }
    r[temperature(j)] = vapour_sum - 1;
  }
  for (int t = 0; t < ties(); ++t) {
    const Tie& tie = case_.ties[t];
    for (int i = 0; i < components_; ++i) {
      const double fraction = tie.phase == Phase::kVapour ? k[tie.from][i].value : 1.0;
      const double flow = unknowns[tie_flow(i, t)];
      r[liquid(i, tie.to)] -= flow;
      r[tie_flow(i, t)] = flow - unit_ * tie.rate * fraction * unknowns[liquid(i, tie.from)];
    }
  }
  return r;
}

SparseEntries ColumnSystem::jacobian(const std::vector<double>& unknowns) const {
  const int n = stages();
  const std::vector<std::vector<KValue>> k = k_values(unknowns);
  Collector entries;
  // Derivatives of a vapour stream of `rate` that leaves `stage`, in the equation at `row`.
  const auto add_vapour_slope = [&](int row, int i, int stage, double rate) {
    entries.add(row, temperature(stage), rate * k[stage][i].slope * unknowns[liquid(i, stage)]);
  };
  for (int j = 0; j < n; ++j) {
    double sum_slope = 0;
    for (int i = 0; i < components_; ++i) {
      const int row = liquid(i, j);
      if (j > 0) entries.add(row, liquid(i, j - 1), -unit_ * flows_.liquid[j - 1]);
      entries.add(row, row, unit_ * (flows_.liquid_out[j] + k[j][i].value * flows_.vapour_out[j]));
      if (flows_.vapour_out[j] != 0)  // none leaves a total condenser
        add_vapour_slope(row, i, j, unit_ * flows_.vapour_out[j]);
      if (j + 1 < n) {
        entries.add(row, liquid(i, j + 1), -unit_ * flows_.vapour[j + 1] * k[j + 1][i].value);
        add_vapour_slope(row, i, j + 1, -unit_ * flows_.vapour[j + 1]);
      }
      entries.add(temperature(j), row, k[j][i].value);
      sum_slope += k[j][i].slope * unknowns[row];
    }
    entries.add(temperature(j), temperature(j), sum_slope);
  }
  for (int t = 0; t < ties(); ++t) {
    const Tie& tie = case_.ties[t];
    const bool vapour = tie.phase == Phase::kVapour;
    for (int i = 0; i < components_; ++i) {
      const int row = tie_flow(i, t);
      entries.add(liquid(i, tie.to), row, -1);
      entries.add(row, row, 1);
      entries.add(row, liquid(i, tie.from), -unit_ * tie.rate * (vapour ? k[tie.from][i].value : 1.0));
      if (vapour) add_vapour_slope(row, i, tie.from, -unit_ * tie.rate);
    }
  }
  return entries.take();
}

}  // namespace column
