#include "apps/recycle/case_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "apps/common/depriester.h"
#include "apps/common/input.h"
#include "apps/recycle/convergence.h"
#include "apps/recycle/k_values.h"

namespace recycle {
namespace {

using apps::CaseError;
using apps::TomlTable;

constexpr std::size_t kMostUnits = 1000;
constexpr double kSumError = 1e-9;   // largest error of a sum of fractions
constexpr double kAgreement = 1e-6;  // of published rates if the case does not state it, as part of the feed
constexpr double kSmallestK = 1e-30, kLargestK = 1e30;

const std::vector<std::string> kUnitKinds{"mixer", "flash", "component-splitter",
                                          "stream-splitter"};  // in the order of UnitKind
const std::vector<std::string> kCorrelations{"constant", "depriester", "wilson"};
enum class Correlation { kConstant, kDePriester, kWilson };

/// Computes K-values by the correlation of the case.
struct KModel {
  Correlation correlation = Correlation::kConstant;
  std::vector<apps::DePriester> depriester;  // [component], if this is the correlation; likewise below
  std::vector<Wilson> wilson;

  std::vector<double> k(double temperature, double pressure) const {
    std::vector<double> values;
    for (const apps::DePriester& c : depriester) values.push_back(std::exp(c.ln_k(temperature, pressure)));
    for (const Wilson& c : wilson) values.push_back(c.k(temperature, pressure));
    return values;
  }
};

class CaseReader {
 public:
  explicit CaseReader(const toml::table& file)
      : root_(file, "the case",
              {"title", "source", "rate_unit", "k_values", "component", "feed", "unit", "start", "solver",
               "published"}) {}

  RecycleCase read() {
    case_.title = root_.line_of_text("title");
    case_.source = root_.text_or("source", "");
    if (root_.has("rate_unit")) case_.rate_unit = root_.line_of_text("rate_unit");
    if (root_.has("k_values"))
      model_.correlation = static_cast<Correlation>(root_.choice("k_values", kCorrelations));
    read_components();
    read_feeds();
    read_units();
    check_streams();
    read_solver();
    for (const toml::table* table : root_.tables("start"))
      read_known_rates({*table, "[[start]]", {"stream", "rates"}}, &Stream::start);
    for (const toml::table* table : root_.tables("published"))
      read_published({*table, "[[published]]", {"stream", "rates", "within"}});
    return std::move(case_);
  }

 private:
  Flowsheet& sheet() { return case_.flowsheet; }
  std::size_t components() const { return case_.flowsheet.components.size(); }

  // ---- Components.

  void read_components() {
    for (const toml::table* table : root_.tables("component")) {
      const TomlTable t = component_table(*table);
      const std::string name = t.line_of_text("name");
      auto& names = sheet().components;
      if (std::find(names.begin(), names.end(), name) != names.end())
        t.complain("name", fmt::format("repeats \"{}\"", name));
      names.push_back(name);
      read_constants(t);
    }
    if (components() == 0) throw CaseError(root_.line(), "the case lacks a [[component]]");
  }

  TomlTable component_table(const toml::table& table) const {
    switch (model_.correlation) {
      case Correlation::kConstant:
        return {table, "[[component]]", {"name"}};
      case Correlation::kDePriester:
        return {table, "[[component]]", {"name", "depriester"}};
      case Correlation::kWilson:
        break;
    }
    return {table, "[[component]]", {"name", "wilson"}};
  }

  void read_constants(const TomlTable& t) {
    if (model_.correlation == Correlation::kDePriester) {
      const std::vector<double> v = t.numbers("depriester", 6, "a1, a2, a6, b1, b2, b3");
      model_.depriester.push_back({v[0], v[1], v[2], v[3], v[4], v[5]});
    } else if (model_.correlation == Correlation::kWilson) {
      const std::vector<double> v =
          t.numbers("wilson", 3, "critical temperature, critical pressure, acentric factor");
      if (!(v[0] > 0 && v[1] > 0)) t.complain("wilson", "must have critical constants above 0");
      model_.wilson.push_back({v[0], v[1], v[2]});
    }
  }

  // ---- Streams. A stream is made when the case first mentions it.

  int mention(const std::string& name) {
    if (const auto known = sheet().stream(name)) return *known;
    sheet().streams.push_back({});
    sheet().streams.back().name = name;
    mentioned_at_.push_back(0);
    return static_cast<int>(sheet().streams.size()) - 1;
  }

  Rates rates(const TomlTable& t) {
    Rates values = t.numbers("rates", components(), "one a component");
    for (const double rate : values)
      if (rate < 0) t.complain("rates", fmt::format("holds the negative rate {:g}", rate));
    return values;
  }

  void read_feeds() {
    for (const toml::table* table : root_.tables("feed")) {
      const TomlTable t(*table, "[[feed]]", {"stream", "rates"});
      const std::string name = t.line_of_text("stream");
      if (sheet().stream(name)) t.complain("stream", fmt::format("repeats \"{}\"", name));
      const auto s = static_cast<std::size_t>(mention(name));
      sheet().streams[s].is_feed = true;
      sheet().streams[s].rates = rates(t);
      mentioned_at_[s] = t.line("stream");
    }
    const double total = sheet().total_feed();
    if (!(total > 0 && std::isfinite(total)))
      throw CaseError(root_.line("feed"), "the feeds together must bring a finite amount above 0");
  }

  /// Reads the rates that a table gives for a stream: a guess, or a published answer.
  Stream& read_known_rates(const TomlTable& t, Rates Stream::*where) {
    const std::string name = t.text("stream");
    const auto s = sheet().stream(name);
    if (!s) t.complain("stream", fmt::format("names no stream of the case: \"{}\"", name));
    Stream& stream = sheet().streams[static_cast<std::size_t>(*s)];
    if (!(stream.*where).empty()) t.complain("stream", fmt::format("repeats \"{}\"", name));
    stream.*where = rates(t);
    return stream;
  }

  void read_published(const TomlTable& t) {
    Stream& stream = read_known_rates(t, &Stream::published);
    stream.within = t.has("within") ? t.number_from("within", 0) : kAgreement * sheet().total_feed();
  }

  // ---- Units.

  void read_units() {
    for (const toml::table* table : root_.tables("unit")) {
      const TomlTable any(*table, "[[unit]]",
                          {"name", "kind", "inlet", "inlets", "outlet", "outlets", "vapour", "liquid", "k",
                           "temperature", "pressure", "recoveries", "fractions"});
      const auto kind = static_cast<UnitKind>(any.choice("kind", kUnitKinds));
      Unit unit = read_unit(*table, kind);
      unit.kind = kind;
      unit.name = any.line_of_text("name");
      unit.line = any.line();
      for (const Unit& other : sheet().units)
        if (other.name == unit.name) any.complain("name", fmt::format("repeats \"{}\"", unit.name));
      sheet().units.push_back(std::move(unit));
    }
    if (sheet().units.empty()) throw CaseError(root_.line(), "the case lacks a [[unit]]");
    if (sheet().units.size() > kMostUnits)
      throw CaseError(root_.line(), fmt::format("the case has more than {} units", kMostUnits));
  }

  Unit read_unit(const toml::table& table, UnitKind kind) {
    switch (kind) {
      case UnitKind::kMixer:
        return read_mixer({table, "[[unit]] of kind mixer", {"name", "kind", "inlets", "outlet"}});
      case UnitKind::kFlash:
        return read_flash({table,
                           "[[unit]] of kind flash",
                           {"name", "kind", "inlet", "vapour", "liquid", "k", "temperature", "pressure"}});
      case UnitKind::kComponentSplitter:
        return read_component_splitter({table,
                                        "[[unit]] of kind component-splitter",
                                        {"name", "kind", "inlet", "outlets", "recoveries"}});
      case UnitKind::kStreamSplitter:
        break;
    }
    return read_stream_splitter(
        {table, "[[unit]] of kind stream-splitter", {"name", "kind", "inlet", "outlets", "fractions"}});
  }

  Unit read_mixer(const TomlTable& t) {
    Unit unit{};
    for (const std::string& name : t.texts("inlets", 1)) unit.inlets.push_back(inlet(t, "inlets", name));
    unit.outlets.push_back(outlet(t, "outlet", t.line_of_text("outlet")));
    return unit;
  }

  Unit read_flash(const TomlTable& t) {
    Unit unit{};
    unit.inlets.push_back(inlet(t, "inlet", t.line_of_text("inlet")));
    unit.outlets.push_back(outlet(t, "vapour", t.line_of_text("vapour")));
    unit.outlets.push_back(outlet(t, "liquid", t.line_of_text("liquid")));
    unit.k = k_values(t);
    return unit;
  }

  std::vector<double> k_values(const TomlTable& t) const {
    const bool given = t.has("k") || model_.correlation == Correlation::kConstant;
    if (given && (t.has("temperature") || t.has("pressure")))
      t.complain(t.has("temperature") ? "temperature" : "pressure", "has no meaning for constant K-values");
    std::vector<double> k = given ? t.numbers("k", components(), "one a component")
                                  : model_.k(t.positive("temperature"), t.positive("pressure"));
    for (const double value : k)
      if (!(value >= kSmallestK && value <= kLargestK))
        t.complain(given ? "k" : "temperature",
                   fmt::format("{} K-values between {:g} and {:g}, not {:g}",
                               given ? "must hold" : "must give", kSmallestK, kLargestK, value));
    return k;
  }

  Unit read_component_splitter(const TomlTable& t) {
    Unit unit = read_splitter(t);
    if (unit.outlets.size() != 2) t.complain("outlets", "must hold 2 texts");
    unit.shares = shares(t, "recoveries", components(), "one a component, that of the first outlet");
    return unit;
  }

  Unit read_stream_splitter(const TomlTable& t) {
    Unit unit = read_splitter(t);
    unit.shares = shares(t, "fractions", unit.outlets.size(), "one an outlet");
    const double sum = std::accumulate(unit.shares.begin(), unit.shares.end(), 0.0);
    if (!(std::fabs(sum - 1) <= kSumError))
      t.complain("fractions", fmt::format("adds up to {:g}, not to 1", sum));
    return unit;
  }

  Unit read_splitter(const TomlTable& t) {
    Unit unit{};
    unit.inlets.push_back(inlet(t, "inlet", t.line_of_text("inlet")));
    for (const std::string& name : t.texts("outlets", 2)) unit.outlets.push_back(outlet(t, "outlets", name));
    return unit;
  }

  std::vector<double> shares(const TomlTable& t, const char* key, std::size_t count, const char* of_what) {
    std::vector<double> values = t.numbers(key, count, of_what);
    for (const double share : values)
      if (!(share >= 0 && share <= 1))
        t.complain(key, fmt::format("must lie between 0 and 1, not {:g}", share));
    return values;
  }

  // ---- Connections. The unit being read is not in the list of units yet, and will be the next one there.

  int inlet(const TomlTable& t, const char* key, const std::string& name) {
    const int s = mention(name);
    Stream& stream = sheet().streams[static_cast<std::size_t>(s)];
    if (stream.to != kOutside) t.complain(key, fmt::format("names \"{}\", which enters another unit", name));
    stream.to = static_cast<int>(sheet().units.size());
    note_line(s, t.line(key));
    return s;
  }

  int outlet(const TomlTable& t, const char* key, const std::string& name) {
    const int s = mention(name);
    Stream& stream = sheet().streams[static_cast<std::size_t>(s)];
    if (stream.is_feed) t.complain(key, fmt::format("names the feed \"{}\"", name));
    if (stream.from != kOutside)
      t.complain(key, fmt::format("names \"{}\", which leaves another outlet", name));
    stream.from = static_cast<int>(sheet().units.size());
    note_line(s, t.line(key));
    return s;
  }

  void note_line(int stream, int line) {
    int& at = mentioned_at_[static_cast<std::size_t>(stream)];
    if (at == 0) at = line;
  }

  void check_streams() {
    for (std::size_t s = 0; s < sheet().streams.size(); ++s) {
      const Stream& stream = sheet().streams[s];
      if (!stream.is_feed && stream.from == kOutside)
        throw CaseError(mentioned_at_[s],
                        fmt::format("stream \"{}\" is no feed and leaves no unit", stream.name));
      if (stream.is_feed && stream.to == kOutside)
        throw CaseError(mentioned_at_[s], fmt::format("feed \"{}\" enters no unit", stream.name));
    }
  }

  // ---- Solver.

  void read_solver() {
    const TomlTable t(root_.table("solver"), "[solver]", {"tolerance", "max_passes", "tears"});
    case_.tolerance = t.number_between("tolerance", kSmallestTolerance, kLargestTolerance, " of the feed");
    if (t.has("max_passes")) case_.max_passes = t.integer("max_passes", 1, kMostPasses);
    if (t.has("tears")) case_.tears = t.texts("tears", 1);
    try {
      make_plan(sheet(), case_.tears);
    } catch (const BadTears& bad) {
      throw CaseError(t.line("tears"), bad.what());
    }
  }

  const TomlTable root_;
  RecycleCase case_;
  KModel model_;
  std::vector<int> mentioned_at_;  // [stream] line of the case file that mentions it first
};

}  // namespace

RecycleCase case_of_table(const toml::table& file) { return CaseReader(file).read(); }

RecycleCase parse_case(const std::string& text, const std::string& name) {
  return apps::parse_case_text<RecycleCase>(text, name, case_of_table);
}

RecycleCase read_case(const std::string& path) {
  return parse_case(apps::read_input(path), std::string(apps::input_name(path)));
}

}  // namespace recycle
