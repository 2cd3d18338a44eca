// Reads the table [published] of a case file: figures of the source that the program's own are compared with.

#include "apps/column/published_reader.h"

#include <fmt/format.h>

#include "apps/common/toml_reader.h"

namespace column {
namespace {

using apps::TomlTable;

constexpr int kMostDecimals = 12;

int decimals_of(const TomlTable& t) { return t.integer("decimals", 0, kMostDecimals); }

void read_published_fractions(const TomlTable& published, ColumnCase& c) {
  for (const toml::table* table : published.tables("liquid_fraction")) {
    const TomlTable t(*table, "[[published.liquid_fraction]]", {"stage", "component", "value", "decimals"});
    Published p{Published::What::kLiquidFraction, t.number("value"), decimals_of(t)};
    p.stage = t.integer("stage", 1, c.stages) - 1;
    p.component = t.choice("component", c.components);
    c.published.push_back(p);
  }
}

void read_published_distillate(const TomlTable& published, ColumnCase& c) {
  if (!published.has("distillate")) return;
  const TomlTable t(published.table("distillate"), "[published.distillate]", {"rates", "decimals"});
  const std::vector<double> rates = t.numbers("rates", c.components.size(), "one a component");
  for (std::size_t i = 0; i < rates.size(); ++i) {
    Published p{Published::What::kDistillateRate, rates[i], decimals_of(t)};
    p.component = static_cast<int>(i);
    c.published.push_back(p);
  }
}

void read_published_temperatures(const TomlTable& published, ColumnCase& c) {
  if (!published.has("temperatures")) return;
  const TomlTable t(published.table("temperatures"), "[published.temperatures]",
                    {"first_stage", "celsius", "decimals"});
  const int first = t.integer("first_stage", 1, c.stages) - 1;
  const std::vector<double> celsius = t.numbers("celsius", 0, "one a stage");
  if (celsius.size() > static_cast<std::size_t>(c.stages - first))
    t.complain("celsius", fmt::format("holds {} temperatures, the column ends after {}", celsius.size(),
                                      c.stages - first));
  for (std::size_t j = 0; j < celsius.size(); ++j) {
    Published p{Published::What::kTemperature, celsius[j], decimals_of(t)};
    p.stage = first + static_cast<int>(j);
    c.published.push_back(p);
  }
}

void read_published_passes(const TomlTable& published, ColumnCase& c) {
  if (!published.has("passes")) return;
  const TomlTable t(published.table("passes"), "[published.passes]", {"tolerances", "passes"});
  const std::vector<double> tolerances = t.numbers("tolerances", 0, "of the temperatures");
  const std::vector<double> passes = t.numbers("passes", tolerances.size(), "one a tolerance");
  for (std::size_t i = 0; i < passes.size(); ++i) {
    Published p{Published::What::kPasses, passes[i], 0};
    p.tolerance = tolerances[i];
    c.published.push_back(p);
  }
}

void read_published_shortcut(const TomlTable& published, ColumnCase& c) {
  if (!published.has("shortcut")) return;
  if (!c.shortcut) published.complain("shortcut", "needs a table [shortcut]");
  const TomlTable t(
      published.table("shortcut"), "[published.shortcut]",
      {"minimum_stages", "stages_decimals", "minimum_reflux", "reflux_decimals", "root_decimals"});
  c.published.push_back({Published::What::kMinimumStages, t.positive("minimum_stages"),
                         t.integer("stages_decimals", 0, kMostDecimals)});
  Published reflux{Published::What::kMinimumReflux, t.positive("minimum_reflux"),
                   t.integer("reflux_decimals", 0, kMostDecimals)};
  reflux.root_decimals = t.integer("root_decimals", 0, kMostDecimals);
  c.published.push_back(reflux);
}

}  // namespace

void read_published(const toml::table& table, ColumnCase& c) {
  const TomlTable t(table, "[published]",
                    {"liquid_fraction", "distillate", "temperatures", "passes", "shortcut"});
  read_published_fractions(t, c);
  read_published_distillate(t, c);
  read_published_temperatures(t, c);
  read_published_passes(t, c);
  read_published_shortcut(t, c);
}

}  // namespace column
