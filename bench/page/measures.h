#pragma once

// What tables and pictures are made of.

#include <optional>
#include <string>
#include <vector>

#include "bench/page/results.h"

namespace page {

/// The families of matrices, in the order in which they are shown.
extern const std::vector<std::string> kFamilies;

/// Returns the best time of a run what/family/order/solver in seconds; none if it was not measured.
std::optional<double> seconds(const Results& results, const std::string& what, const std::string& family,
                              const std::string& order, const std::string& solver);
/// Returns the time of a solver relative to that of the fastest of the other solvers.
std::optional<double> ratio_to_fastest(const Results& results, const std::string& what,
                                       const std::string& family, const std::string& order,
                                       const std::string& solver);
/// Returns the order of the matrix of such a run, if it tells it, else the rounded one in its name.
double order_of(const Results& results, const std::string& what, const std::string& family,
                const std::string& order, const std::string& solver);

struct Point {
  double order, value;
};
/// Returns the p of value = c order^p by least squares; none with fewer than two points.
std::optional<double> growth(const std::vector<Point>& points);
/// Returns the power of the order with which the time of a solver grows over a family.
std::optional<double> growth_of(const Results& results, const std::string& what, const std::string& family,
                                const std::string& solver);

/// Returns the geometric mean; none of no values.
std::optional<double> geometric_mean(const std::vector<double>& values);

}  // namespace page
