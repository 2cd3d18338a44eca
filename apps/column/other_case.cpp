#include "apps/column/other_case.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>

#include "apps/column/case_file.h"
#include "apps/column/flows.h"
#include "apps/column/products.h"
#include "apps/common/output.h"
#include "apps/common/toml_reader.h"

namespace column {
namespace {

bool comparable(const ColumnCase& a, const ColumnCase& b) {
  return a.stages == b.stages && a.components == b.components && a.draws.size() == b.draws.size() &&
         std::string_view(a.model->scale().unit) == b.model->scale().unit;
}

apps::BadCase complaint(const ColumnCase& c, const std::string& path, const std::string& what) {
  return apps::complaint(path, c.compare_with_line,
                         "\"compare_with\" names a case that cannot be used: " + what);
}

}  // namespace

std::optional<ColumnCase> read_other_case(const ColumnCase& c, const std::string& path) try {
  if (c.compare_with.empty()) return std::nullopt;
  ColumnCase other = read_case(c.compare_with);
  if (comparable(c, other)) return other;
  throw apps::BadCase(
      c.compare_with +
      ": has other stages, components, draws or temperatures than the case that is compared with it");
} catch (const apps::BadCase& bad) {
  throw complaint(c, path, bad.what());
}

OtherCase compare_with_other(const ColumnCase& c, const std::string& path, const Solution& solution,
                             const ColumnCase& other) {
  const InternalFlows flows = internal_flows(other);
  const Solution found = solve(other, flows, Solver::kArrow);
  if (found.outcome != Outcome::kOk)
    throw complaint(c, path, fmt::format("{}: not converged: {}", c.compare_with, found.complaint));
  OtherCase result{other.title, found.profile, {}, 0, 0};
  result.temperatures_apart = largest_change(solution.profile.temperature, found.profile.temperature);
  const std::vector<Product> own = products(c, internal_flows(c), solution.profile);
  const std::vector<Product> theirs = products(other, flows, found.profile);
  for (std::size_t p = 0; p < own.size(); ++p) {
    for (std::size_t i = 0; i < c.components.size(); ++i) {
      const int component = static_cast<int>(i);
      const double x = own[p].fraction(component), y = theirs[p].fraction(component);
      result.fractions.push_back({own[p].name, c.components[i], x, y});
      result.fractions_apart = std::max(result.fractions_apart, std::fabs(x - y));
    }
  }
  return result;
}

std::string report(const ColumnCase& c, const Solution& solution, const OtherCase& other) {
  const TemperatureScale scale = c.model->scale();
  apps::Page page;
  page.add("\nbeside {}\n({})\n", c.compare_with, other.title);
  page.add("{:>5} {:>12} {:>12} {:>12}\n", "stage", scale.shown_as, "there", "difference");
  for (std::size_t j = 0; j < other.profile.temperature.size(); ++j) {
    const double own = scale.shown(solution.profile.temperature[j]);
    const double there = scale.shown(other.profile.temperature[j]);
    page.add("{:>5} {:>12.4f} {:>12.4f} {:>12.4f}\n", j + 1, own, there, own - there);
  }
  page.add("{:<20} {:<14} {:>12} {:>12} {:>12}\n", "mole fraction in", "of", "here", "there", "difference");
  for (const OtherCase::Fraction& f : other.fractions)
    page.add("{:<20} {:<14} {:>12.6f} {:>12.6f} {:>12.6f}\n", f.product, f.component, f.own, f.other,
             f.own - f.other);
  page.add("largest difference: {:.4f} {} of a stage, {:.6f} of a mole fraction in a product\n",
           other.temperatures_apart, scale.unit, other.fractions_apart);
  return page.take();
}

}  // namespace column
