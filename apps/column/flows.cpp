// Constant molar overflow: going down from the condenser, the liquid and the vapour between the stages change
// only by what feeds, draws and ties bring or take. Flows that are not positive are told with the line at
// fault.

#include "apps/column/flows.h"

#include <fmt/format.h>

#include <numeric>

namespace column {
namespace {

/// Holds the rates that feeds, draws and ties bring to a stage and take from it.
struct Exchange {
  double liquid_in = 0, vapour_in = 0, liquid_taken = 0, vapour_taken = 0;
};

std::vector<Exchange> exchanges(const ColumnCase& c) {
  std::vector<Exchange> at(c.stages);
  const auto take = [&at](int stage, Phase phase, double rate) {
    (phase == Phase::kLiquid ? at[stage].liquid_taken : at[stage].vapour_taken) += rate;
  };
  for (const Feed& feed : c.feeds) {
    const double rate = std::accumulate(feed.rates.begin(), feed.rates.end(), 0.0);
    at[feed.stage].liquid_in += feed.liquid_fraction * rate;
    at[feed.stage].vapour_in += (1 - feed.liquid_fraction) * rate;
  }
  for (const Draw& draw : c.draws) take(draw.stage, draw.phase, draw.rate);
  for (const Tie& tie : c.ties) {
    take(tie.from, tie.phase, tie.rate);
    (tie.phase == Phase::kLiquid ? at[tie.to].liquid_in : at[tie.to].vapour_in) += tie.rate;
    at[tie.to].liquid_in += tie.condensed;
    at[tie.to].vapour_in -= tie.condensed;
  }
  return at;
}

/// Returns the line in the case file of the stream that lowers the flow of a phase from `stage` the most, or
/// 0.
int line_of_taker(const ColumnCase& c, int stage, Phase phase) {
  int line = 0;
  double most = 0;
  const auto consider = [&](double taken, int where) {
    if (taken > most) {
      most = taken;
      line = where;
    }
  };
  for (const Draw& d : c.draws)
    if (d.stage == stage && d.phase == phase) consider(d.rate, d.line);
  for (const Tie& t : c.ties) {
    if (t.from == stage && t.phase == phase) consider(t.rate, t.line);
    if (t.to + 1 == stage && phase == Phase::kVapour) consider(t.condensed, t.line);
  }
  // A superheated feed evaporates liquid, and the vapour of a feed need not come from the stage below.
  for (const Feed& f : c.feeds) {
    if (f.stage == stage && phase == Phase::kLiquid) consider(-f.liquid_fraction, f.line);
    if (f.stage + 1 == stage && phase == Phase::kVapour) consider(1 - f.liquid_fraction, f.line);
  }
  return line;
}

}  // namespace

std::vector<double> total_feed(const ColumnCase& c) {
  std::vector<double> sum(c.components.size(), 0.0);
  for (const Feed& feed : c.feeds)
    for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += feed.rates[i];
  return sum;
}

InternalFlows internal_flows(const ColumnCase& c) {
  const int n = c.stages;
  const std::vector<Exchange> at = exchanges(c);
  const double reflux = c.reflux_ratio * c.distillate;
  InternalFlows f;
  f.liquid.assign(n, 0.0);
  f.vapour.assign(n, 0.0);
  f.liquid[0] = reflux;
  f.vapour[0] = c.condenser == Condenser::kPartial ? c.distillate : 0;
  f.vapour[1] = reflux + c.distillate;
  for (int j = 1; j < n; ++j) {
    f.liquid[j] = f.liquid[j - 1] + at[j].liquid_in - at[j].liquid_taken;
    const double from_below = f.vapour[j] + at[j].vapour_taken - at[j].vapour_in;
    if (j + 1 < n)
      f.vapour[j + 1] = from_below;
    else
      f.liquid[j] -= from_below;  // the vapour of the reboiler is made from its liquid
  }

  f.liquid_out = f.liquid;
  f.vapour_out = f.vapour;
  if (c.condenser == Condenser::kTotal) f.liquid_out[0] += c.distillate;
  for (int j = 0; j < n; ++j) {
    f.liquid_out[j] += at[j].liquid_taken;
    f.vapour_out[j] += at[j].vapour_taken;
  }
  for (const double rate : total_feed(c)) f.total_feed += rate;
  return f;
}

std::optional<FlowFault> flow_fault(const ColumnCase& c, const InternalFlows& flows) {
  const int n = c.stages;
  double products = c.distillate;
  for (const Draw& draw : c.draws) products += draw.rate;
  if (!(products < flows.total_feed))
    return FlowFault{
        fmt::format("distillate and draws take {:g}, the feed brings only {:g}", products, flows.total_feed)};
  for (int j = 1; j < n; ++j) {
    const double liquid = flows.liquid[j], vapour = flows.vapour[j];
    if (!(vapour > 0))
      return FlowFault{fmt::format("the vapour flow leaving stage {} comes to {:g}", j + 1, vapour),
                       line_of_taker(c, j, Phase::kVapour)};
    if (!(liquid > 0))
      return FlowFault{fmt::format("the liquid flow leaving stage {} comes to {:g}", j + 1, liquid),
                       line_of_taker(c, j, Phase::kLiquid)};
  }
  return std::nullopt;
}

}  // namespace column
