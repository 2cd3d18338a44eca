// Chooses what the pictures show.

#include "bench/page/pictures.h"

#include <optional>

#include "bench/page/measures.h"
#include "bench/page/plot.h"

namespace page {
namespace {

/// Makes a panel of each family.
/// @param value returns what is drawn for a line at an order: value(family, order, line), none to leave it
/// out
template <class Value>
std::vector<Panel> panels(const Results& results, const std::string& what,
                          const std::vector<std::string>& families, const std::vector<std::string>& lines,
                          Value&& value) {
  std::vector<Panel> all;
  for (const std::string& family : families) {
    Panel panel{family, {}};
    for (std::size_t k = 0; k < lines.size(); ++k) {
      Line line{k, {}};
      for (const std::string& order : results.below(what + '/' + family))
        if (const std::optional<double> v = value(family, order, lines[k]))
          line.points.push_back({std::stod(order), *v});
      panel.lines.push_back(line);
    }
    all.push_back(panel);
  }
  return all;
}

std::string ratios(const Results& results, const std::string& what, const std::string& title) {
  const std::vector<std::string> lines = {"ma48", "ma38", "automatic"};
  const auto ratio = [&](const std::string& family, const std::string& order, const std::string& solver) {
    return ratio_to_fastest(results, what, family, order, solver);
  };
  return draw({title, "order of the matrix", "time relative to the fastest of SparseLU, SuperLU and MUMPS",
               lines, panels(results, what, kFamilies, lines, ratio), true});
}

std::string growth(const Results& results) {
  const std::vector<std::string> lines = {"ma48", "ma38", "automatic", "SparseLU", "SuperLU", "MUMPS"};
  const auto time_of_row = [&](const std::string& family, const std::string& order,
                               const std::string& solver) {
    const std::optional<double> time = seconds(results, "analyse", family, order, solver);
    return time ? std::optional(1e6 * *time / order_of(results, "analyse", family, order, solver)) : time;
  };
  return draw({"Growth of the time to analyse and factorise", "order of the matrix",
               "microseconds for each row of the matrix", lines,
               panels(results, "analyse", kFamilies, lines, time_of_row), false});
}

}  // namespace

std::vector<std::pair<std::string, std::string>> pictures(const Results& results) {
  return {{"performance-analyse.svg", ratios(results, "analyse", "Analyse and factorise")},
          {"performance-new-values.svg", ratios(results, "refactorise", "Factorise new values")},
          {"performance-growth.svg", growth(results)}};
}

}  // namespace page
