#include "apps/column/case_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numeric>

#include "apps/column/flows.h"
#include "apps/column/property_file.h"
#include "apps/column/published_reader.h"
#include "apps/column/shortcut.h"
#include "apps/column/table_csv.h"
#include "apps/column/vapour_pressure_table.h"
#include "apps/common/input.h"
#include "apps/common/output.h"
#include "apps/common/toml_reader.h"

namespace column {
namespace {

using apps::CaseError;
using apps::TomlTable;

constexpr int kMostStages = 1000;
constexpr double kSumError =
    1e-9;  // largest error of a sum of fractions, and of the bottoms relative to the feed

const std::vector<std::string> kModels{"relative-volatility", "depriester", "antoine",
                                       "measured"};  // in the order of Model
enum class Model { kRelativeVolatility, kDePriester, kAntoine, kMeasured };

Phase phase_of(const TomlTable& t) {
  if (!t.has("phase")) return Phase::kLiquid;
  return t.choice("phase", {"liquid", "vapour"}) == 0 ? Phase::kLiquid : Phase::kVapour;
}

/// Reads the number of a stage other than the condenser, counted from 1. Returns it counted from 0.
int stage_of(const TomlTable& t, std::string_view key, const ColumnCase& c) {
  return t.integer(key, 2, c.stages) - 1;
}

double sum(const std::vector<double>& values) { return std::accumulate(values.begin(), values.end(), 0.0); }

// ---- Components and their property model.

/// Tells where the files are that a case names.
struct Places {
  std::filesystem::path folder;     // of the case file; other paths are relative to it
  std::string properties;           // property file given on the command line; empty: none
  std::vector<std::string>& named;  // paths of the files that the case has named so far

  std::string path(const std::string& name) const {
    return named.emplace_back((folder / std::filesystem::u8path(name)).generic_u8string());
  }
};

/// Complains of what another file holds, for the key of the case that asks for it.
/// @throws apps::UnusableFile
[[noreturn]] void complain_of_file(const TomlTable& t, std::string_view key, const std::string& what) {
  try {
    t.complain(key, what);
  } catch (const CaseError& error) {
    throw apps::UnusableFile(error.line, error.what());
  }
}

/// Returns what `read` makes of another file, which a key of the case names. If it refuses the file, the
/// error names the key, too.
template <class Read>
auto used_for(const TomlTable& t, std::string_view key, Read read) {
  try {
    return read();
  } catch (const apps::BadCase& bad) {
    complain_of_file(t, key, fmt::format("names a file that cannot be used: {}", bad.what()));
  }
}

/// Finds measured tables, in a property file or each in a file of its own.
class TableFinder {
 public:
  TableFinder(const TomlTable& root, const Places& places)
      : places_(places), from_outside_(!places.properties.empty()), file_(places.properties) {
    if (from_outside_ || !root.has("properties")) {
      if (from_outside_) stored_ = recall_tables(file_);
      return;
    }
    file_ = places.path(root.text("properties"));
    stored_ = used_for(root, "properties", [this] { return recall_tables(file_); });
  }

  std::shared_ptr<VapourPressureTable> find(const TomlTable& t) const {
    const std::string name = t.text("name");
    if (!from_outside_ && t.has("table")) {
      const std::string path = places_.path(t.text("table"));
      const std::string text = used_for(t, "table", [&path] { return apps::read_input(path); });
      auto table = parse_table_csv(text, path);
      if (table->info().name != name)
        complain_of_file(t, "table", fmt::format("is that of {}, not of {}", table->info().name, name));
      return table;
    }
    if (file_.empty()) t.complain("name", R"(needs a "table", or the case "properties")");
    auto table = find_table(stored_, name);
    if (!table) complain_of_file(t, "name", fmt::format("\"{}\" is not in {}", name, file_));
    return table;
  }

 private:
  const Places& places_;
  bool from_outside_;
  std::string file_;
  Tables stored_;
};

/// Reads the constants of all components, in the order of the file, and makes their equilibrium model.
class ModelReader {
 public:
  ModelReader(Model model, const TomlTable& root, const Places& places) : model_(model) {
    if (model == Model::kMeasured)
      finder_.emplace(root, places);
    else if (root.has("properties"))
      root.complain("properties", "goes with the model measured only");
    else if (!places.properties.empty())
      throw CaseError(root.line("model"), "a property file goes with the model measured only");
  }

  void add(const TomlTable& t) {
    switch (model_) {
      case Model::kRelativeVolatility:
        volatilities_.push_back(t.positive("volatility"));
        break;
      case Model::kDePriester: {
        const std::vector<double> v = t.numbers("depriester", 6, "a1, a2, a6, b1, b2, b3");
        depriester_.push_back({v[0], v[1], v[2], v[3], v[4], v[5]});
        break;
      }
      case Model::kAntoine: {
        const std::vector<double> v = t.numbers("antoine", 3, "A, B, C");
        if (!(v[1] > 0)) t.complain("antoine", fmt::format("must have B above 0, not {:g}", v[1]));
        antoine_.push_back({v[0], v[1], v[2]});
        break;
      }
      case Model::kMeasured:
        tables_.push_back(finder_->find(t));
        break;
    }
  }

  std::shared_ptr<const EquilibriumModel> model() const {
    if (model_ == Model::kRelativeVolatility) return std::make_shared<RelativeVolatility>(volatilities_);
    if (model_ == Model::kDePriester) return std::make_shared<DePriester>(depriester_);
    if (model_ == Model::kMeasured) return std::make_shared<Measured>(tables_);
    return std::make_shared<Antoine>(antoine_);
  }

  TomlTable open(const toml::table& table) const {
    switch (model_) {
      case Model::kRelativeVolatility:
        return TomlTable(table, "[[component]]", {"name", "volatility"});
      case Model::kDePriester:
        return TomlTable(table, "[[component]]", {"name", "depriester"});
      case Model::kMeasured:
        return TomlTable(table, "[[component]]", {"name", "table"});
      case Model::kAntoine:
        break;
    }
    return TomlTable(table, "[[component]]", {"name", "antoine"});
  }

 private:
  Model model_;
  std::vector<double> volatilities_;
  std::vector<DePriester::Constants> depriester_;
  std::vector<Antoine::Constants> antoine_;
  Tables tables_;
  std::optional<TableFinder> finder_;
};

void read_components(const TomlTable& root, Model model, const Places& places, ColumnCase& c) {
  ModelReader reader(model, root, places);
  for (const toml::table* table : root.tables("component")) {
    const TomlTable t = reader.open(*table);
    const std::string name = t.line_of_text("name");
    if (std::find(c.components.begin(), c.components.end(), name) != c.components.end())
      t.complain("name", fmt::format("repeats \"{}\"", name));
    c.components.push_back(name);
    reader.add(t);
  }
  if (c.components.size() < 2)
    throw CaseError(
        root.line("component"),
        fmt::format("a column needs at least 2 tables [[component]], not {}", c.components.size()));
  c.model = reader.model();
}

// ---- The column and its streams.

void read_column(const TomlTable& t, Model model, ColumnCase& c) {
  c.stages = t.integer("stages", 3, kMostStages);
  if (t.has("condenser"))
    c.condenser = t.choice("condenser", {"total", "partial"}) == 0 ? Condenser::kTotal : Condenser::kPartial;
  c.reflux_ratio = t.positive("reflux_ratio");
  c.distillate = t.positive("distillate");
  if (model != Model::kRelativeVolatility)
    c.pressure = t.positive("pressure");
  else if (t.has("pressure"))
    t.complain("pressure", "has no meaning for constant relative volatilities");
}

/// Reads the component rates of a feed [components]: given as such, or as a total rate and a composition.
std::vector<double> feed_rates(const TomlTable& t, std::size_t components) {
  const bool by_rates = t.has("rates");
  const std::string key = by_rates ? "rates" : "composition";
  if (by_rates && (t.has("rate") || t.has("composition")))
    t.complain("rates", "excludes \"rate\" and \"composition\"");
  const double rate = by_rates ? 1 : t.positive("rate");
  std::vector<double> values = t.numbers(key, components, "one a component");
  for (const double value : values)
    if (value < 0) t.complain(key, fmt::format("holds the negative amount {:g}", value));
  if (!by_rates && !(std::fabs(sum(values) - 1) <= kSumError))
    t.complain(key, fmt::format("adds up to {:.10g}, not to 1", sum(values)));
  if (!(sum(values) > 0)) t.complain(key, "feeds nothing");
  for (double& value : values) value *= rate;
  return values;
}

void read_feeds(const TomlTable& root, ColumnCase& c) {
  for (const toml::table* table : root.tables("feed")) {
    const TomlTable t(*table, "[[feed]]", {"stage", "rates", "rate", "composition", "liquid_fraction"});
    const int stage = stage_of(t, "stage", c);
    c.feeds.push_back(
        {stage, feed_rates(t, c.components.size()), t.number_or("liquid_fraction", 1.0), t.line()});
  }
  if (c.feeds.empty()) throw CaseError(root.line(), "the case lacks a [[feed]]");
  const std::vector<double> fed = total_feed(c);
  for (std::size_t i = 0; i < fed.size(); ++i)
    if (!(fed[i] > 0))
      throw CaseError(c.feeds.front().line, fmt::format("no feed brings any {}", c.components[i]));
}

void read_draws(const TomlTable& root, ColumnCase& c) {
  for (const toml::table* table : root.tables("draw")) {
    const TomlTable t(*table, "[[draw]]", {"stage", "phase", "rate"});
    c.draws.push_back({stage_of(t, "stage", c), phase_of(t), t.positive("rate"), t.line()});
  }
}

void read_ties(const TomlTable& root, ColumnCase& c) {
  for (const toml::table* table : root.tables("pumparound")) {
    const TomlTable t(*table, "[[pumparound]]", {"from", "to", "phase", "rate", "condensed"});
    const int from = stage_of(t, "from", c), to = stage_of(t, "to", c);
    if (from == to) t.complain("to", "is the stage that the stream comes from");
    const double condensed = t.has("condensed") ? t.number_from("condensed", 0) : 0;
    c.ties.push_back({from, to, phase_of(t), t.positive("rate"), condensed, t.line()});
  }
}

void check_flows(const TomlTable& column, const ColumnCase& c) {
  const InternalFlows flows = internal_flows(c);
  if (const std::optional<FlowFault> fault = flow_fault(c, flows))
    throw CaseError(fault->line != 0 ? fault->line : column.line("distillate"), fault->what);
  if (!column.has("bottoms")) return;
  const double bottoms = column.positive("bottoms");
  if (!(std::fabs(bottoms - flows.liquid.back()) <= kSumError * flows.total_feed))
    column.complain("bottoms", fmt::format("is {:g}, but the feed leaves {:g} after distillate and draws",
                                           bottoms, flows.liquid.back()));
}

// ---- Solver, short cut.

void read_solver(const TomlTable& t, Model model, ColumnCase& c) {
  c.tolerance = t.number_between("tolerance", kSmallestTolerance, kLargestTolerance, " degree");
  c.max_passes = t.has("max_passes") ? t.integer("max_passes", 1, 1000000) : 500;
  if (!t.has("start_temperature")) return;
  if (model == Model::kRelativeVolatility)
    t.complain("start_temperature", "has no meaning for constant relative volatilities");
  const TemperatureScale scale = c.model->scale();
  c.start_temperature = t.number("start_temperature");
  if (!(*c.start_temperature > scale.lowest && *c.start_temperature < scale.highest))
    t.complain("start_temperature",
               fmt::format("must lie between {:g} and {:g} {}", scale.lowest, scale.highest, scale.unit));
}

ShortcutTask read_shortcut(const TomlTable& t, const ColumnCase& c) {
  if (c.feeds.size() != 1) throw CaseError(t.line(), "[shortcut] needs a column with one feed");
  ShortcutTask task;
  task.volatilities = t.numbers("relative_volatilities", c.components.size(), "one a component");
  if (*std::min_element(task.volatilities.begin(), task.volatilities.end()) <= 0)
    t.complain("relative_volatilities", "must be above 0");
  task.light_key = t.choice("light_key", c.components);
  task.heavy_key = t.choice("heavy_key", c.components);
  task.light_in_distillate = t.positive("light_in_distillate");
  task.heavy_in_distillate = t.positive("heavy_in_distillate");
  if (!shortcut(task, total_feed(c), c.feeds.front().liquid_fraction))
    throw CaseError(t.line(),
                    "[shortcut] needs keys that are neighbours in volatility, the light one first, "
                    "and less of each in the distillate than in the feed");
  return task;
}

ColumnCase case_of(const toml::table& file, const Places& places) {
  const TomlTable root(file, "the case",
                       {"title", "source", "rate_unit", "model", "component", "column", "feed", "draw",
                        "pumparound", "solver", "shortcut", "published", "properties", "compare_with"});
  ColumnCase c;
  c.title = root.line_of_text("title");
  c.source = root.text_or("source", "");
  if (root.has("rate_unit")) c.rate_unit = root.line_of_text("rate_unit");
  const Model model = static_cast<Model>(root.choice("model", kModels));
  if (root.has("compare_with")) {
    c.compare_with = places.path(root.text("compare_with"));
    c.compare_with_line = root.line("compare_with");
  }
  read_components(root, model, places, c);
  const TomlTable column(root.table("column"), "[column]",
                         {"stages", "condenser", "pressure", "reflux_ratio", "distillate", "bottoms"});
  read_column(column, model, c);
  read_feeds(root, c);
  read_draws(root, c);
  read_ties(root, c);
  check_flows(column, c);
  read_solver(TomlTable(root.table("solver"), "[solver]", {"tolerance", "max_passes", "start_temperature"}),
              model, c);
  if (root.has("shortcut"))
    c.shortcut = read_shortcut(TomlTable(root.table("shortcut"), "[shortcut]",
                                         {"relative_volatilities", "light_key", "heavy_key",
                                          "light_in_distillate", "heavy_in_distillate"}),
                               c);
  if (root.has("published")) read_published(root.table("published"), c);
  return c;
}

}  // namespace

ColumnCase case_of_table(const toml::table& file, const std::string& name, const std::string& properties) {
  std::vector<std::string> named;
  const Places places{std::filesystem::u8path(name).parent_path(), properties, named};
  ColumnCase c = case_of(file, places);
  c.other_files = std::move(named);
  return c;
}

ColumnCase parse_case(const std::string& text, const std::string& name, const std::string& properties) {
  return apps::parse_case_text<ColumnCase>(
      text, name, [&](const toml::table& file) { return case_of_table(file, name, properties); });
}

ColumnCase read_case(const std::string& path, const std::string& properties) {
  return parse_case(apps::read_input(path), std::string(apps::input_name(path)), properties);
}

}  // namespace column
