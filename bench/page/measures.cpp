// Takes times, ratios and powers of growth from the results.

#include "bench/page/measures.h"

#include <cmath>

namespace page {

const std::vector<std::string> kFamilies = {"flowsheet", "column", "wide", "square", "cube"};

namespace {

/// Returns the least time of the other solvers; none if none was measured.
std::optional<double> fastest_peer(const Results& results, const std::string& what, const std::string& family,
                                   const std::string& order) {
  std::optional<double> least;
  for (const char* peer : {"SparseLU", "SuperLU", "MUMPS"}) {
    const std::optional<double> time = seconds(results, what, family, order, peer);
    if (time && (!least || *time < *least)) least = time;
  }
  return least;
}

}  // namespace

std::optional<double> seconds(const Results& results, const std::string& what, const std::string& family,
                              const std::string& order, const std::string& solver) {
  return results.value(what + '/' + family + '/' + order + '/' + solver, "best");
}

std::optional<double> ratio_to_fastest(const Results& results, const std::string& what,
                                       const std::string& family, const std::string& order,
                                       const std::string& solver) {
  const std::optional<double> ours = seconds(results, what, family, order, solver);
  const std::optional<double> fastest = fastest_peer(results, what, family, order);
  if (!ours || !fastest) return std::nullopt;
  return *ours / *fastest;
}

double order_of(const Results& results, const std::string& what, const std::string& family,
                const std::string& order, const std::string& solver) {
  return results.value(what + '/' + family + '/' + order + '/' + solver, "n").value_or(std::stod(order));
}

std::optional<double> growth(const std::vector<Point>& points) {
  if (points.size() < 2) return std::nullopt;
  double n = 0, x = 0, y = 0, xx = 0, xy = 0;
  for (const Point& point : points) {
    const double px = std::log(point.order), py = std::log(point.value);
    n += 1, x += px, y += py, xx += px * px, xy += px * py;
  }
  return (n * xy - x * y) / (n * xx - x * x);
}

std::optional<double> geometric_mean(const std::vector<double>& values) {
  if (values.empty()) return std::nullopt;
  double logarithms = 0;
  for (const double value : values) logarithms += std::log(value);
  return std::exp(logarithms / static_cast<double>(values.size()));
}

std::optional<double> growth_of(const Results& results, const std::string& what, const std::string& family,
                                const std::string& solver) {
  std::vector<Point> points;
  for (const std::string& order : results.below(what + '/' + family))
    if (const std::optional<double> time = seconds(results, what, family, order, solver))
      points.push_back({order_of(results, what, family, order, solver), *time});
  return growth(points);
}

}  // namespace page
