// The orderings of Boost.Graph on a compressed sparse row graph.

#include "bench/reorder/boost_orderings.h"

#include <deque>
#include <utility>
#include <vector>

// The headers of Boost cause a warning that this tree treats as an error.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <boost/graph/compressed_sparse_row_graph.hpp>
#include <boost/graph/cuthill_mckee_ordering.hpp>
#include <boost/graph/king_ordering.hpp>
#include <boost/graph/properties.hpp>
#include <boost/graph/sloan_ordering.hpp>
#pragma GCC diagnostic pop

namespace bench {
namespace {

using Graph = boost::compressed_sparse_row_graph<boost::directedS>;

std::vector<std::pair<int, int>> both_ways(const Mesh& mesh) {
  std::vector<std::pair<int, int>> result;
  for (const auto& [i, j] : mesh.edges) {
    result.emplace_back(i - 1, j - 1);
    result.emplace_back(j - 1, i - 1);
  }
  return result;
}

Graph graph_of(const Mesh& mesh) {
  const auto edges = both_ways(mesh);
  return Graph(boost::edges_are_unsorted, edges.begin(), edges.end(), static_cast<std::size_t>(mesh.n));
}

}  // namespace

struct BoostOrderings::State {
  using Vertex = boost::graph_traits<Graph>::vertex_descriptor;

  explicit State(const Mesh& mesh)
      : graph(graph_of(mesh)),
        order(boost::num_vertices(graph)),
        colours(order.size()),
        degrees(mesh.degree),
        priorities(order.size()) {}

  auto index() const { return boost::get(boost::vertex_index, graph); }
  template <class T>
  auto map(std::vector<T>& values) const {
    return boost::make_iterator_property_map(values.begin(), index());
  }

  Graph graph;
  std::vector<Vertex> order;
  std::vector<boost::default_color_type> colours;
  std::vector<int> degrees;
  std::vector<double> priorities;
};

BoostOrderings::BoostOrderings(const Mesh& mesh) : state_(new State(mesh)) {}
BoostOrderings::~BoostOrderings() = default;

void BoostOrderings::reverse_cuthill_mckee() {
  State& s = *state_;
  boost::cuthill_mckee_ordering(s.graph, s.order.rbegin(), s.map(s.colours), s.map(s.degrees));
}

void BoostOrderings::reverse_king() {
  State& s = *state_;
  // The overload without starting nodes does the same, but it does not compile for this graph type.
  const std::deque<State::Vertex> starts = {
      boost::find_starting_node(s.graph, State::Vertex{0}, s.map(s.colours), s.map(s.degrees))};
  boost::king_ordering(s.graph, starts, s.order.rbegin(), s.map(s.colours), s.map(s.degrees), s.index());
}

void BoostOrderings::sloan() {
  State& s = *state_;
  boost::sloan_ordering(s.graph, s.order.begin(), s.map(s.colours), s.map(s.degrees), s.map(s.priorities));
}

Numbering BoostOrderings::numbering() const {
  Numbering result(state_->order.size());
  for (std::size_t k = 0; k < result.size(); ++k) result[state_->order[k]] = static_cast<int>(k) + 1;
  return result;
}

}  // namespace bench
