// Makes the tables of the reordering.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bench/page/markdown.h"
#include "bench/page/measures.h"
#include "bench/page/tables.h"

namespace page {
namespace {

const std::vector<std::string> kMeshes = {"triangles",  "random_cut", "l_shape", "ring",
                                          "nine_point", "cube_7",     "cube_27"};
const std::vector<std::string> kOrderings = {"gps", "gk", "rcm", "king", "sloan"};

/// Returns a measure of all orderings of a mesh, in the order of kOrderings.
std::vector<Value> of_orderings(const Results& results, const std::string& mesh, const char* measure) {
  std::vector<Value> values;
  for (const std::string& ordering : kOrderings)
    values.push_back(results.value("quality/" + mesh + '/' + ordering, measure));
  return values;
}

template <class Visit>
void each_mesh(const Results& results, Visit&& visit) {
  for (const std::string& family : kMeshes)
    for (const std::string& order : results.below("quality/" + family)) visit(family, family + '/' + order);
}

std::string reordering_quality(const Results& results) {
  Table table({"mesh", "nodes", "gps", "gk", "RCM", "King", "Sloan", "gps", "gk", "RCM", "King", "Sloan"});
  each_mesh(results, [&](const std::string& family, const std::string& mesh) {
    Row row = {code(family), whole(results.value("quality/" + mesh + "/gps", "nodes"))};
    for (const char* measure : {"bandwidth", "profile"}) {
      const std::vector<Value> values = of_orderings(results, mesh, measure);
      const Value least = *std::min_element(values.begin(), values.end());
      for (const Value& value : values)
        row.push_back(value && value == least ? "**" + whole(value) + "**" : whole(value));
    }
    table.add(row);
  });
  return table.text();
}

/// Compares one of our orderings with the best of the peers over all meshes.
struct Contest {
  int meshes = 0, as_good = 0;
  double least = HUGE_VAL, largest = 0;  // ratio to the best peer
};

Contest contest(const Results& results, std::size_t ours, const char* measure) {
  constexpr int kOurs = 2;  // orderings in front of those of the peers
  Contest contest;
  each_mesh(results, [&](const std::string&, const std::string& mesh) {
    const std::vector<Value> values = of_orderings(results, mesh, measure);
    const Value best = *std::min_element(values.begin() + kOurs, values.end());
    if (!best || !values[ours]) return;
    const double ratio = *values[ours] / *best;
    ++contest.meshes;
    contest.as_good += ratio <= 1;
    contest.least = std::min(contest.least, ratio);
    contest.largest = std::max(contest.largest, ratio);
  });
  return contest;
}

std::string reordering_summary(const Results& results) {
  Table table(
      {"method", "meshes", "at least as small as the best peer", "least ratio to it", "largest ratio to it"});
  const auto add = [&](const char* name, const Contest& c) {
    const bool any = c.meshes > 0;
    table.add({name, std::to_string(c.meshes), std::to_string(c.as_good),
               two_digits(any ? Value(c.least) : std::nullopt),
               digits(any ? Value(c.largest) : std::nullopt, 3)});
  };
  add("bandwidth by `gps`", contest(results, 0, "bandwidth"));
  add("profile by `gk`", contest(results, 1, "profile"));
  return table.text();
}

std::string reordering_times(const Results& results) {
  Table table({"mesh", "nodes", "bandwidth, ms", "ratio to `cuthill_mckee_ordering`", "grows as",
               "profile, ms", "ratio to `sloan_ordering`", "grows as"});
  for (const std::string& family : kMeshes) {
    bool first = true;
    for (const std::string& order : results.below("bandwidth/" + family)) {
      Row row = {code(family), order_text(order)};
      for (const auto& [what, peer] :
           {std::pair<std::string, std::string>{"bandwidth", "cuthill"}, {"profile", "sloan"}}) {
        const Value ours = seconds(results, what, family, order, "gpskca");
        const Value theirs = seconds(results, what, family, order, peer);
        row.push_back(milliseconds(ours));
        row.push_back(two_digits(ours && theirs ? Value(*ours / *theirs) : std::nullopt));
        const Value power = growth_of(results, what, family, "gpskca");
        row.push_back(first && power ? "n^" + two_digits(power) : "");
      }
      table.add(row);
      first = false;
    }
  }
  return table.text();
}

}  // namespace

std::map<std::string, Section> reorder_sections() {
  return {{"reordering quality", reordering_quality},
          {"reordering summary", reordering_summary},
          {"reordering times", reordering_times}};
}

}  // namespace page
