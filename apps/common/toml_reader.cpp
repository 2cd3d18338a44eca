#include "apps/common/toml_reader.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "apps/common/output.h"

namespace apps {
namespace {

constexpr char kNotOneLine[] = "must be one line of plain characters";

int line_of(const toml::node& node) { return static_cast<int>(node.source().begin.line); }

std::string kind(const toml::node& node) {
  std::ostringstream out;
  out << node.type();
  return out.str();
}

/// Puts a blank in the place of each control character, line ends among them.
std::string one_line(std::string text) {
  constexpr unsigned char kFirstPrinted = 0x20, kDelete = 0x7f;
  const auto is_control = [](char c) {
    return static_cast<unsigned char>(c) < kFirstPrinted || static_cast<unsigned char>(c) == kDelete;
  };
  std::replace_if(text.begin(), text.end(), is_control, ' ');
  return text;
}

}  // namespace

BadCase complaint(const std::string& name, long line, std::string what) {
  return BadCase(fmt::format("{}:{}: {}", name, line, one_line(std::move(what))));
}

TomlTable::TomlTable(const toml::table& table, std::string name,
                     std::initializer_list<std::string_view> known)
    : table_(table), name_(std::move(name)), line_(std::max(1, line_of(table))) {
  int first = 0;
  std::string unknown;
  for (const auto& [key, value] : table) {
    if (std::find(known.begin(), known.end(), key.str()) != known.end()) continue;
    const int at = static_cast<int>(key.source().begin.line);
    if (first != 0 && at >= first) continue;
    first = at;
    unknown = key.str();
  }
  if (first != 0)
    throw CaseError(first, fmt::format("unknown key \"{}\" in {}; it may hold {}", unknown, name_,
                                       fmt::join(known, ", ")));
}

int TomlTable::line(std::string_view key) const {
  const toml::node* found = table_.get(key);
  return found ? line_of(*found) : line_;
}

void TomlTable::complain(std::string_view key, const std::string& what) const {
  throw CaseError(line(key), fmt::format("\"{}\" in {} {}", key, name_, what));
}

const toml::node& TomlTable::node(std::string_view key) const {
  const toml::node* found = table_.get(key);
  if (!found) throw CaseError(line_, fmt::format("{} lacks \"{}\"", name_, key));
  return *found;
}

double TomlTable::finite_number(const toml::node& value, std::string_view key) const {
  const auto number = value.is_number() ? value.value<double>() : std::nullopt;
  if (!number)
    throw CaseError(line_of(value),
                    fmt::format("\"{}\" in {} must be a number, not {}", key, name_, kind(value)));
  if (!std::isfinite(*number))
    throw CaseError(line_of(value), fmt::format("\"{}\" in {} must be finite", key, name_));
  return *number;
}

double TomlTable::number(std::string_view key) const { return finite_number(node(key), key); }

double TomlTable::positive(std::string_view key) const {
  const double value = number(key);
  if (!(value > 0)) complain(key, fmt::format("must be above 0, not {:g}", value));
  return value;
}

double TomlTable::number_from(std::string_view key, double lowest) const {
  const double value = number(key);
  if (!(value >= lowest)) complain(key, fmt::format("must be at least {:g}, not {:g}", lowest, value));
  return value;
}

double TomlTable::number_between(std::string_view key, double lowest, double highest,
                                 const char* unit) const {
  const double value = number(key);
  if (!(value >= lowest && value <= highest))
    complain(key, fmt::format("must lie between {:g} and {:g}{}, not {:g}", lowest, highest, unit, value));
  return value;
}

double TomlTable::number_or(std::string_view key, double fallback) const {
  return has(key) ? number(key) : fallback;
}

int TomlTable::integer(std::string_view key, int lowest, int highest) const {
  const auto value = node(key).value_exact<std::int64_t>();
  if (!value) complain(key, fmt::format("must be an integer, not {}", kind(node(key))));
  if (*value < lowest || *value > highest)
    complain(key, fmt::format("must lie between {} and {}, not {}", lowest, highest, *value));
  return static_cast<int>(*value);
}

std::string TomlTable::text(std::string_view key) const {
  const auto value = node(key).value_exact<std::string>();
  if (!value) complain(key, fmt::format("must be a text, not {}", kind(node(key))));
  if (value->empty()) complain(key, "is empty");
  return *value;
}

std::string TomlTable::line_of_text(std::string_view key) const {
  const std::string value = text(key);
  if (has_control_characters(value)) complain(key, kNotOneLine);
  return value;
}

std::string TomlTable::text_or(std::string_view key, const std::string& fallback) const {
  return has(key) ? text(key) : fallback;
}

std::vector<double> TomlTable::numbers(std::string_view key, std::size_t count,
                                       std::string_view of_what) const {
  const toml::array* array = node(key).as_array();
  if (!array) complain(key, fmt::format("must be an array of numbers, not {}", kind(node(key))));
  if (count != 0 ? array->size() != count : array->empty())
    complain(key, count != 0 ? fmt::format("must hold {} numbers ({}), not {}", count, of_what, array->size())
                             : fmt::format("must hold numbers ({})", of_what));
  std::vector<double> values;
  for (const toml::node& element : *array) values.push_back(finite_number(element, key));
  return values;
}

std::vector<std::string> TomlTable::texts(std::string_view key, std::size_t least) const {
  const toml::array* array = node(key).as_array();
  if (!array) complain(key, fmt::format("must be an array of texts, not {}", kind(node(key))));
  if (array->size() < least) complain(key, fmt::format("must hold at least {} texts", least));
  std::vector<std::string> values;
  for (const toml::node& element : *array) {
    const auto value = element.value_exact<std::string>();
    if (!value || value->empty()) complain(key, "must hold texts, none of them empty");
    if (has_control_characters(*value)) complain(key, kNotOneLine);
    if (std::find(values.begin(), values.end(), *value) != values.end())
      complain(key, fmt::format("repeats \"{}\"", *value));
    values.push_back(*value);
  }
  return values;
}

int TomlTable::choice(std::string_view key, const std::vector<std::string>& choices) const {
  const std::string chosen = text(key);
  const auto found = std::find(choices.begin(), choices.end(), chosen);
  if (found == choices.end())
    complain(key, fmt::format("must be one of {}, not \"{}\"", fmt::join(choices, ", "), chosen));
  return static_cast<int>(found - choices.begin());
}

const toml::table& TomlTable::table(std::string_view key) const {
  const toml::table* found = node(key).as_table();
  if (!found) complain(key, fmt::format("must be a table, not {}", kind(node(key))));
  return *found;
}

std::vector<const toml::table*> TomlTable::tables(std::string_view key) const {
  std::vector<const toml::table*> found;
  if (!has(key)) return found;
  const toml::array* array = node(key).as_array();
  if (!array) complain(key, fmt::format("must be tables [[{}]], not {}", key, kind(node(key))));
  for (const toml::node& element : *array) {
    if (!element.is_table()) complain(key, fmt::format("must be tables [[{}]]", key));
    found.push_back(element.as_table());
  }
  return found;
}

}  // namespace apps
