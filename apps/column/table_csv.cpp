// Reads a table of measured vapour pressures from comma-separated text:
//
//   1. split the lines into fields; read names, constants and units from the lines in front of the points;
//   2. convert temperatures to kelvin and pressures to mmHg;
//   3. interpolate the half of a point that is missing, ln p against 1/T;
//   4. put the points into a VapourPressureTable, in the order of their temperatures, and fit it.
// A complaint names the line, if one is at fault.

#include "apps/column/table_csv.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "apps/column/formula.h"
#include "apps/column/memory_watch.h"
#include "apps/common/input.h"
#include "apps/common/number.h"
#include "apps/common/output.h"
#include "apps/common/toml_reader.h"
#include "apps/common/wording.h"
#include "tables/interpolator.h"

namespace column {
namespace {

using apps::CaseError;

constexpr std::size_t kMostPoints = 100000;

/// Converts temperatures to kelvin: adds the offset, then multiplies by the factor.
struct TemperatureUnit {
  double offset, factor;
  double kelvin(double t) const { return (t + offset) * factor; }
};

const std::map<std::string, TemperatureUnit> kTemperatureUnits{
    {"degC", {273.15, 1}}, {"K", {0, 1}}, {"degF", {459.67, 1 / 1.8}}};

constexpr double kPascalPerMmHg = 133.322387415;
const std::map<std::string, double> kMmHgPer{{"mmHg", 1},
                                             {"Pa", 1 / kPascalPerMmHg},
                                             {"kPa", 1e3 / kPascalPerMmHg},
                                             {"bar", 1e5 / kPascalPerMmHg},
                                             {"psia", 6894.757293168 / kPascalPerMmHg},
                                             {"atm", 101325 / kPascalPerMmHg}};

// ---- Lines and fields.

struct Line {
  int number;
  std::vector<std::string> fields;
};

std::string trimmed(const std::string& field) {
  const std::size_t first = field.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return field.substr(first, field.find_last_not_of(" \t\r") - first + 1);
}

/// Returns the fields between commas. Within quotes a comma is an ordinary character, and a doubled quote is
/// one quote.
std::vector<std::string> fields_of(const std::string& line, int number) {
  std::vector<std::string> fields(1);
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char ch = line[i];
    if (quoted && ch == '"' && i + 1 < line.size() && line[i + 1] == '"')
      fields.back() += line[i++];
    else if (ch == '"')
      quoted = !quoted;
    else if (ch == ',' && !quoted)
      fields.emplace_back();
    else
      fields.back() += ch;
  }
  if (quoted) throw CaseError(number, "a quote is not closed");
  for (std::string& field : fields) field = trimmed(field);
  return fields;
}

std::vector<Line> lines_of(const std::string& text) {
  std::vector<Line> lines;
  int number = 0;
  for (std::size_t at = 0; at < text.size(); ++number) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const std::string line = trimmed(text.substr(at, end - at));
    if (!line.empty() && line[0] != '#') lines.push_back({number + 1, fields_of(line, number + 1)});
    at = end + 1;
  }
  return lines;
}

double number_of(const std::string& field, int line) {
  double value = 0;
  if (apps::read_number(field, value) != apps::NumberFault::kNone)
    throw CaseError(line, fmt::format("\"{}\" is not a number", field));
  return value;
}

// ---- Filling gaps, in coordinates (ln p and 1/T) in which the vapour pressure is nearly a straight line.

struct Row {
  int line;
  std::optional<double> kelvin, mmhg;
  bool measured() const { return kelvin && mmhg; }
};

double reciprocal(double kelvin) { return 1000 / kelvin; }

/// Interpolates the missing values of `wanted` in rows that have `along`, between rows that have both.
/// @param abscissa, ordinate  transform a value of `along` or `wanted` to the coordinate of the interpolation
/// @param back                inverts `ordinate`
void fill_gaps(std::vector<Row>& rows, std::optional<double> Row::*along, double (*abscissa)(double),
               std::optional<double> Row::*wanted, double (*ordinate)(double), double (*back)(double)) {
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < rows.size(); ++i)
    if (rows[i].*along) order.push_back(i);
  const auto ascending = [&](std::size_t a, std::size_t b) {
    return abscissa(*(rows[a].*along)) < abscissa(*(rows[b].*along));
  };
  std::stable_sort(order.begin(), order.end(), ascending);
  std::vector<double> values, spacing;
  std::vector<InterpStatusEnum> status;
  double last = 0;
  for (const std::size_t i : order) {
    const double x = abscissa(*(rows[i].*along));
    spacing.push_back(x - last);
    last = x;
    values.push_back(rows[i].*wanted ? ordinate(*(rows[i].*wanted)) : 0);
    status.push_back(rows[i].*wanted ? InterpKnown : InterpUnknown);
  }
  const auto gap = std::find(status.begin(), status.end(), InterpUnknown);
  if (gap == status.end()) return;
  const auto known = [](InterpStatusEnum s) { return s == InterpKnown; };
  const auto first = std::find_if(status.begin(), status.end(), known);
  const auto end = std::find_if(status.rbegin(), status.rend(), known).base();
  if (Interpolator().MainInterpolator(values.data(), status.data(), static_cast<int>(values.size()),
                                      InterpLinear, ExtrapNone, spacing.data()) == 0)
    throw CaseError(rows[order[static_cast<std::size_t>(gap - status.begin())]].line,
                    "the gap cannot be filled: the measured points around the gaps are too few, or two of "
                    "them contradict each other");
  for (auto s = first; s < end; ++s) {
    const auto place = static_cast<std::size_t>(s - status.begin());
    if (*s == InterpUnknown) rows[order[place]].*wanted = back(values[place]);
  }
}

// ---- The table.

class TableReader {
 public:
  explicit TableReader(const std::string& text) : lines_(lines_of(text)) {}

  std::shared_ptr<VapourPressureTable> read() {
    std::size_t at = 0;
    while (at < lines_.size() && lines_[at].fields[0] != "temperature") read_header(lines_[at++]);
    end_header(at);
    while (++at < lines_.size()) read_row(lines_[at]);
    return table();
  }

 private:
  int last_line() const { return lines_.empty() ? 1 : lines_.back().number; }

  void read_header(const Line& line) {
    static const std::map<std::string, std::size_t> kKeys{{"component", 1}, {"formula", 1}, {"source", 1},
                                                          {"antoine", 3},   {"line", 2},    {"limits", 2},
                                                          {"units", 2}};
    const std::string& key = line.fields[0];
    const auto known = kKeys.find(key);
    if (known == kKeys.end())
      throw CaseError(line.number, fmt::format("unknown heading \"{}\"; the points begin below a line "
                                               "\"temperature,pressure\"",
                                               key));
    if (line.fields.size() != 1 + known->second)
      throw CaseError(line.number, fmt::format("\"{}\" takes {} field{}, not {}", key, known->second,
                                               known->second == 1 ? "" : "s", line.fields.size() - 1));
    if (!header_.emplace(key, line).second) throw CaseError(line.number, fmt::format("repeats \"{}\"", key));
  }

  const Line& required(const char* key, int line) const {
    const auto found = header_.find(key);
    if (found == header_.end()) throw CaseError(line, fmt::format("no \"{}\" stands above here", key));
    for (const std::string& field : found->second.fields)
      if (field.empty()) throw CaseError(found->second.number, fmt::format("\"{}\" is blank", key));
    return found->second;
  }

  template <class Unit>
  static Unit unit(const Line& line, std::size_t field, const std::map<std::string, Unit>& units) {
    const auto found = units.find(line.fields[field]);
    if (found != units.end()) return found->second;
    std::string names;
    for (const auto& [name, unit] : units) names += (names.empty() ? "" : ", ") + name;
    throw CaseError(line.number, fmt::format("unit \"{}\" is none of {}", line.fields[field], names));
  }

  void end_header(std::size_t at) {
    if (at == lines_.size()) throw CaseError(last_line(), "there is no line \"temperature,pressure\"");
    const Line& line = lines_[at];
    if (line.fields != std::vector<std::string>{"temperature", "pressure"})
      throw CaseError(line.number, "the columns must be \"temperature,pressure\"");
    const Line& component = required("component", line.number);
    info_.name = component.fields[1];
    if (apps::has_control_characters(info_.name))
      throw CaseError(component.number, "the name of a component must be one line of plain characters");
    if (header_.count("formula") != 0) read_formula(required("formula", line.number));
    const Line& units = required("units", line.number);
    temperature_ = unit(units, 1, kTemperatureUnits);
    mmhg_ = unit(units, 2, kMmHgPer);
    if (header_.count("source") != 0) info_.source = header_["source"].fields[1];
    if (const auto v = published("antoine"); !v.empty()) info_.antoine = AntoineConstants{v[0], v[1], v[2]};
    if (const auto v = published("line"); !v.empty()) info_.line = PressureLine{v[0], v[1]};
  }

  void read_formula(const Line& line) {
    info_.formula = line.fields[1];
    try {
      const FormulaCheck check = check_formula(info_.formula);
      if (check.verdict == FormulaCheck::Verdict::kRefused)
        throw CaseError(line.number,
                        fmt::format("\"{}\" cannot be one molecule: {}", info_.formula, check.why));
    } catch (const BadFormula& bad) {
      throw CaseError(line.number, bad.what());
    }
  }

  std::vector<double> published(const char* key) const {
    std::vector<double> values;
    if (header_.count(key) == 0) return values;
    const Line& line = required(key, 0);
    for (std::size_t i = 1; i < line.fields.size(); ++i)
      values.push_back(number_of(line.fields[i], line.number));
    return values;
  }

  double kelvin(const std::string& field, int line) const {
    const double t = temperature_.kelvin(number_of(field, line));
    if (!(t > 0)) throw CaseError(line, fmt::format("temperature {} lies below absolute zero", field));
    return t;
  }

  void read_row(const Line& line) {
    if (line.fields.size() > 2)
      throw CaseError(line.number, fmt::format("a point has 2 fields, not {}", line.fields.size()));
    const std::string& t = line.fields[0];
    const std::string p = line.fields.size() == 2 ? line.fields[1] : "";
    if (t.empty() && p.empty()) return;
    if (rows_.size() == kMostPoints)
      throw CaseError(line.number, fmt::format("there are more than {} points", kMostPoints));
    Row row{line.number, {}, {}};
    if (!t.empty()) row.kelvin = kelvin(t, line.number);
    if (!p.empty()) {
      row.mmhg = mmhg_ * number_of(p, line.number);
      if (!(*row.mmhg > 0)) throw CaseError(line.number, fmt::format("pressure {} is not above 0", p));
    }
    rows_.push_back(row);
  }

  std::shared_ptr<VapourPressureTable> table() {
    const std::vector<Row> given = rows_;
    fill_gaps(rows_, &Row::kelvin, reciprocal, &Row::mmhg, std::log, std::exp);
    std::vector<Row> by_pressure = given;
    fill_gaps(by_pressure, &Row::mmhg, std::log, &Row::kelvin, reciprocal, reciprocal);
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < rows_.size(); ++i) {
      if (!rows_[i].kelvin) rows_[i].kelvin = by_pressure[i].kelvin;
      if (rows_[i].measured()) order.push_back(i);
    }
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return *rows_[a].kelvin < *rows_[b].kelvin; });
    auto made = std::make_shared<VapourPressureTable>(info_);
    for (const std::size_t i : order) made->add(*rows_[i].kelvin, *rows_[i].mmhg, !given[i].measured());
    set_limits(*made);
    if (!made->fit_all())
      throw CaseError(last_line(), fmt::format("the {} within the limits {} no Antoine fit",
                                               apps::counted(made->active_points(), "point"),
                                               made->active_points() == 1 ? "has" : "have"));
    return made;
  }

  void set_limits(VapourPressureTable& made) {
    const auto found = header_.find("limits");
    if (found == header_.end()) return;
    const Line& line = found->second;
    if (!line.fields[1].empty()) made.LowerRegressionLimit(kelvin(line.fields[1], line.number));
    if (!line.fields[2].empty()) made.UpperRegressionLimit(kelvin(line.fields[2], line.number));
  }

  const std::vector<Line> lines_;
  std::map<std::string, Line> header_;  // by key
  ComponentInfo info_;
  TemperatureUnit temperature_{};
  double mmhg_ = 0;  // mmHg in one unit of pressure of the file
  std::vector<Row> rows_;
};

}  // namespace

std::shared_ptr<VapourPressureTable> parse_table_csv(const std::string& text, const std::string& name) {
  const MemoryWatch memory;
  const auto unless_refused = [&] {
    if (memory.refused()) throw apps::BadCase(name + ": " + kMemoryRefused);
  };
  try {
    auto table = TableReader(text).read();
    unless_refused();  // because a table drops points without an error if it gets no memory
    return table;
  } catch (const CaseError& error) {
    unless_refused();
    throw apps::complaint(name, error.line, error.what());
  }
}

std::shared_ptr<VapourPressureTable> read_table_csv(const std::string& path) {
  return parse_table_csv(apps::read_input(path), std::string(apps::input_name(path)));
}

}  // namespace column
