// Recomputes the balances of a solved column from its streams, |in - out| over the larger of the two: of each
// component over the whole column, of each stage, and of each component on each stage.

#include "apps/column/closure.h"

#include <algorithm>
#include <cmath>

#include "apps/column/products.h"

namespace column {
namespace {

struct InOut {
  double in = 0, out = 0;

  void add(const InOut& other) {
    in += other.in;
    out += other.out;
  }
  double larger() const { return std::max(std::fabs(in), std::fabs(out)); }
  double error() const { return error(larger()); }
  /// Returns |in - out| relative to `flow`. Returns infinity where a flow is not finite, because std::max()
  /// can lose a NaN.
  double error(double flow) const {
    if (in == out) return 0;
    const double relative = std::fabs(in - out) / flow;
    return std::isfinite(relative) ? relative : HUGE_VAL;
  }
};

/// Returns the rates at which one component enters and leaves each stage.
std::vector<InOut> stage_streams(const ColumnCase& c, const InternalFlows& flows, const Profile& profile,
                                 int component) {
  const std::vector<double>& x = profile.liquid[component];
  const std::vector<double>& k = profile.k[component];
  const int n = c.stages;
  std::vector<InOut> at(n);
  const auto move = [&at](double rate, int from, int to) {
    at[from].out += rate;
    at[to].in += rate;
  };
  const auto drawn = [&](int stage, Phase phase, double rate) {
    return rate * x[stage] * (phase == Phase::kVapour ? k[stage] : 1.0);
  };
  for (int j = 0; j + 1 < n; ++j) move(flows.liquid[j] * x[j], j, j + 1);
  for (int j = 1; j < n; ++j) move(flows.vapour[j] * k[j] * x[j], j, j - 1);
  for (const Tie& t : c.ties) move(drawn(t.from, t.phase, t.rate), t.from, t.to);
  for (const Feed& f : c.feeds) at[f.stage].in += f.rates[component];
  for (const Product& p : products(c, flows, profile)) at[p.stage].out += p.by_component[component];
  return at;
}

double largest_flow(const std::vector<InOut>& at) {
  double largest = 0;
  for (const InOut& streams : at) largest = std::max(largest, streams.larger());
  return largest;
}

double largest_sum_error(const std::vector<std::vector<double>>& fractions, int stages) {
  double largest = 0;
  for (int j = 0; j < stages; ++j) {
    double sum = 0;
    for (const std::vector<double>& of_component : fractions) sum += of_component[j];
    largest = std::max(largest, std::fabs(sum - 1));
  }
  return largest;
}

}  // namespace

double Closure::worst() const {
  double largest = overall;
  for (const auto* errors : {&component, &stage, &stage_component})
    for (const double error : *errors) largest = std::max(largest, error);
  return largest;
}

Closure closure(const ColumnCase& c, const InternalFlows& flows, const Profile& profile) {
  const int components = static_cast<int>(profile.liquid.size());
  const std::vector<double> feed = total_feed(c);
  const std::vector<Product> leaving = products(c, flows, profile);
  Closure result;
  result.stage_component.assign(c.stages, 0.0);
  std::vector<InOut> totals(c.stages);
  InOut overall;
  std::vector<std::vector<double>> vapour = profile.liquid;
  for (int i = 0; i < components; ++i) {
    InOut whole{feed[i], 0};
    for (const Product& p : leaving) whole.out += p.by_component[i];
    result.component.push_back(whole.error());
    overall.add(whole);
    const std::vector<InOut> at = stage_streams(c, flows, profile, i);
    const double flow = largest_flow(at);
    for (int j = 0; j < c.stages; ++j) {
      result.stage_component[j] = std::max(result.stage_component[j], at[j].error(flow));
      totals[j].add(at[j]);
      vapour[i][j] *= profile.k[i][j];
    }
  }
  for (const InOut& total : totals) result.stage.push_back(total.error());
  result.overall = overall.error();
  result.liquid_sum = largest_sum_error(profile.liquid, c.stages);
  result.vapour_sum = largest_sum_error(vapour, c.stages);
  return result;
}

}  // namespace column
