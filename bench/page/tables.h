#pragma once

// The tables of docs/performance.md, as Markdown.

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "bench/page/results.h"

namespace page {

/// Makes the text that stands in the page for a mark.
using Section = std::function<std::string(const Results&)>;

/// Returns what each mark of the template stands for.
const std::map<std::string, Section>& sections();

// ---- What tables and pictures are made of

/// The families of matrices, in the order in which they are shown, and the other solvers.
extern const std::vector<std::string> kFamilies, kPeers;

/// Returns the best time of a run what/family/order/solver in seconds; none if it was not measured.
std::optional<double> seconds(const Results& results, const std::string& what, const std::string& family,
                              const std::string& order, const std::string& solver);
/// Returns the least time of the peers; none if no peer was measured.
std::optional<double> fastest_peer(const Results& results, const std::string& what, const std::string& family,
                                   const std::string& order);
/// Returns the time of a solver relative to that of the fastest peer.
std::optional<double> ratio_to_fastest(const Results& results, const std::string& what,
                                       const std::string& family, const std::string& order,
                                       const std::string& solver);

struct Point {
  double order, value;
};
/// Returns the p of value = c order^p by least squares; none with fewer than two points.
std::optional<double> growth(const std::vector<Point>& points);

/// Returns the geometric mean; none of no values.
std::optional<double> geometric_mean(const std::vector<double>& values);

/// Writes a number with two significant digits, without an exponent; a dash for none.
std::string two_digits(std::optional<double> value);

}  // namespace page
