// Plans a flowsheet and runs passes over it (sequential modular simulation): chooses or checks the tears,
// orders the units, and computes them one after the other from a guess of the torn streams. Sums what enters
// and leaves.

#include "apps/recycle/flowsheet.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace recycle {
namespace {

/// Holds the streams between units as the edges of a graph.
struct InnerStreams {
  Graph graph;
  std::vector<int> stream_of_edge;  // [edge]
};

InnerStreams inner_streams(const Flowsheet& flowsheet) {
  InnerStreams inner;
  inner.graph.units = static_cast<int>(flowsheet.units.size());
  for (std::size_t s = 0; s < flowsheet.streams.size(); ++s) {
    const Stream& stream = flowsheet.streams[s];
    if (stream.from == kOutside || stream.to == kOutside) continue;
    inner.graph.edges.push_back({stream.from, stream.to});
    inner.stream_of_edge.push_back(static_cast<int>(s));
  }
  return inner;
}

std::vector<int> edges_named(const Flowsheet& flowsheet, const InnerStreams& inner,
                             const std::vector<std::string>& names) {
  std::vector<int> edges;
  for (const std::string& name : names) {
    const std::optional<int> stream = flowsheet.stream(name);
    if (!stream) throw BadTears(fmt::format("there is no stream \"{}\" to tear", name));
    const auto at = std::find(inner.stream_of_edge.begin(), inner.stream_of_edge.end(), *stream);
    if (at == inner.stream_of_edge.end())
      throw BadTears(fmt::format("\"{}\" cannot be torn: it is no stream between two units", name));
    const int edge = static_cast<int>(at - inner.stream_of_edge.begin());
    if (std::find(edges.begin(), edges.end(), edge) != edges.end())
      throw BadTears(fmt::format("\"{}\" is torn twice", name));
    edges.push_back(edge);
  }
  return edges;
}

std::vector<int> smallest_or_complain(const Graph& graph) {
  if (auto tears = smallest_tear_set(graph)) return *std::move(tears);
  throw BadTears("the recycles are too entangled to choose tears: name them");
}

/// Returns a unit on a cycle that no tear cuts.
const Unit& unit_left_on_cycle(const Flowsheet& flowsheet, Graph graph, const std::vector<int>& tears) {
  std::vector<Edge> left;
  for (std::size_t e = 0; e < graph.edges.size(); ++e)
    if (std::find(tears.begin(), tears.end(), static_cast<int>(e)) == tears.end())
      left.push_back(graph.edges[e]);
  graph.edges = std::move(left);
  return flowsheet.units[static_cast<std::size_t>(recycle_groups(graph).front().front())];
}

Rates feeds_through_mixer(const Flowsheet& flowsheet, const Stream& stream) {
  Rates rates(flowsheet.components.size(), 0.0);
  const Unit& source = flowsheet.units[static_cast<std::size_t>(stream.from)];
  if (source.kind != UnitKind::kMixer) return rates;
  for (const int s : source.inlets) {
    const Stream& inlet = flowsheet.streams[static_cast<std::size_t>(s)];
    for (std::size_t i = 0; inlet.is_feed && i < rates.size(); ++i) rates[i] += inlet.rates[i];
  }
  return rates;
}

void append(TearVector& vector, const Rates& rates) {
  vector.insert(vector.end(), rates.begin(), rates.end());
}

}  // namespace

std::optional<int> Flowsheet::stream(const std::string& name) const {
  const auto found =
      std::find_if(streams.begin(), streams.end(), [&](const Stream& s) { return s.name == name; });
  if (found == streams.end()) return std::nullopt;
  return static_cast<int>(found - streams.begin());
}

double Flowsheet::total_feed() const {
  double total = 0;
  for (const Stream& stream : streams)
    if (stream.is_feed) total = std::accumulate(stream.rates.begin(), stream.rates.end(), total);
  return total;
}

Plan make_plan(const Flowsheet& flowsheet, const std::vector<std::string>& names) {
  const InnerStreams inner = inner_streams(flowsheet);
  const std::vector<int> tears =
      names.empty() ? smallest_or_complain(inner.graph) : edges_named(flowsheet, inner, names);
  Plan plan;
  plan.order = order_of_units(inner.graph, tears);
  if (plan.order.size() != flowsheet.units.size())
    throw BadTears(fmt::format("the tears leave a recycle through \"{}\" whole",
                               unit_left_on_cycle(flowsheet, inner.graph, tears).name));
  for (const int e : tears) plan.tears.push_back(inner.stream_of_edge[static_cast<std::size_t>(e)]);
  return plan;
}

TearVector start_vector(const Flowsheet& flowsheet, const Plan& plan) {
  TearVector start;
  for (const int s : plan.tears) {
    const Stream& stream = flowsheet.streams[static_cast<std::size_t>(s)];
    append(start, stream.start.empty() ? feeds_through_mixer(flowsheet, stream) : stream.start);
  }
  return start;
}

PassResult run_pass(const Flowsheet& flowsheet, const Plan& plan, const TearVector& guess) {
  const auto components = static_cast<std::ptrdiff_t>(flowsheet.components.size());
  std::vector<Rates> taken_in(
      flowsheet.streams.size());  // [stream] rates that the unit which it enters computes with
  for (std::size_t s = 0; s < flowsheet.streams.size(); ++s) taken_in[s] = flowsheet.streams[s].rates;
  for (std::size_t t = 0; t < plan.tears.size(); ++t) {
    const auto first = guess.begin() + static_cast<std::ptrdiff_t>(t) * components;
    taken_in[static_cast<std::size_t>(plan.tears[t])].assign(first, first + components);
  }
  std::vector<bool> torn(flowsheet.streams.size());
  for (const int s : plan.tears) torn[static_cast<std::size_t>(s)] = true;

  PassResult result{taken_in, {}};
  for (const int u : plan.order) {
    const Unit& unit = flowsheet.units[static_cast<std::size_t>(u)];
    std::vector<Rates> inflow;
    for (const int s : unit.inlets) inflow.push_back(taken_in[static_cast<std::size_t>(s)]);
    std::vector<Rates> out = outflow(unit, inflow);
    for (std::size_t o = 0; o < out.size(); ++o) {
      const auto s = static_cast<std::size_t>(unit.outlets[o]);
      if (!torn[s]) taken_in[s] = out[o];
      result.streams[s] = std::move(out[o]);
    }
  }
  for (const int s : plan.tears) append(result.tears, result.streams[static_cast<std::size_t>(s)]);
  return result;
}

int flash_count(const Flowsheet& flowsheet) {
  return static_cast<int>(std::count_if(flowsheet.units.begin(), flowsheet.units.end(),
                                        [](const Unit& unit) { return unit.kind == UnitKind::kFlash; }));
}

Imbalance overall_imbalance(const Flowsheet& flowsheet, const std::vector<Rates>& streams) {
  Rates excess(flowsheet.components.size(), 0.0);
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const Stream& stream = flowsheet.streams[s];
    const double sign = stream.is_feed ? 1.0 : stream.to == kOutside ? -1.0 : 0.0;
    for (std::size_t i = 0; i < excess.size(); ++i) excess[i] += sign * streams[s][i];
  }
  const double feed = flowsheet.total_feed();
  Imbalance imbalance;
  for (std::size_t i = 0; i < excess.size(); ++i) {
    const double part = std::fabs(excess[i]) / feed;
    if (part <= imbalance.worst) continue;  // false for a NaN, which counts as the worst
    imbalance.worst = part;
    imbalance.component = i;
    if (!std::isfinite(part)) break;
  }
  imbalance.total = std::fabs(std::accumulate(excess.begin(), excess.end(), 0.0)) / feed;
  return imbalance;
}

}  // namespace recycle
