#include "apps/study/place.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "apps/common/number.h"

namespace study {
namespace {

/// Takes the indices in front of a text, "[1][light]", off it.
std::vector<std::string> take_indices(std::string_view& text) {
  std::vector<std::string> indices;
  while (!text.empty() && text.front() == '[') {
    const std::size_t end = text.find(']');
    if (end == text.npos) throw BadPlace("lacks a \"]\"");
    if (end == 1) throw BadPlace("has nothing between its brackets");
    indices.emplace_back(text.substr(1, end - 1));
    text.remove_prefix(end + 1);
  }
  return indices;
}

std::vector<std::string> keys_of(const toml::table& table) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : table) keys.emplace_back(key.str());
  return keys;
}

/// Returns what people call the tables of an array: their "name" or "stream"; empty where they have none.
std::vector<std::string> names_of(const toml::array& tables) {
  std::vector<std::string> names;
  for (const toml::node& element : tables) {
    const toml::table* table = element.as_table();
    std::string name;
    for (const char* key : {"name", "stream"})
      if (table && table->contains(key)) name = table->get(key)->value_or(std::string());
    names.push_back(name);
  }
  return names;
}

/// Where a node hangs: in a table under a key, or in an array.
struct Slot {
  toml::table* table = nullptr;
  std::string key;
  toml::array* array = nullptr;  // null: in the table
  std::size_t at = 0;

  toml::node* node() const { return array ? array->get(at) : table->get(key); }
};

/// Moves a slot from an array to the element that an index names.
void enter_element(Slot& slot, const std::string& index, const std::vector<std::string>& components) {
  toml::array* const array = slot.node()->as_array();
  if (!array) throw BadPlace(fmt::format("has an index behind \"{}\", which is no array", slot.key));
  std::vector<std::string> names = names_of(*array);
  if (array->size() == components.size() && !array->is_array_of_tables()) names = components;
  const auto at = position(index, names, array->size());
  if (!at)
    throw BadPlace(
        fmt::format("asks for element \"{}\" of the {} of \"{}\"", index, array->size(), slot.key));
  slot.array = array;
  slot.at = *at;
}

/// Moves a slot from a table to what stands under a key.
void enter_table(Slot& slot, toml::node& from, const std::string& key) {
  toml::table* const table = from.as_table();
  if (!table) throw BadPlace(fmt::format("goes on behind \"{}\", which is no table", slot.key));
  if (!table->contains(key))
    throw BadPlace(fmt::format("names \"{}\", which {} does not give; it gives {}", key,
                               slot.key.empty() ? "the case" : '"' + slot.key + '"',
                               fmt::join(keys_of(*table), ", ")));
  slot = {table, key};
}

Slot find_slot(toml::table& file, const Place& place) {
  const std::vector<std::string> components = component_names(file);
  Slot slot;
  for (const Step& step : place) {
    enter_table(slot, slot.table ? *slot.node() : file, step.key);
    for (const std::string& index : step.indices) enter_element(slot, index, components);
  }
  if (!slot.node()->is_number()) throw BadPlace(fmt::format("names \"{}\", which is not a number", slot.key));
  return slot;
}

}  // namespace

Place parse_place(std::string_view text) {
  Place place;
  for (;;) {
    const std::size_t end = std::min(text.find_first_of(".["), text.size());
    if (end == 0) throw BadPlace("lacks a key");
    Step step{std::string(text.substr(0, end)), {}};
    text.remove_prefix(end);
    step.indices = take_indices(text);
    place.push_back(std::move(step));
    if (text.empty()) return place;
    if (text.front() != '.') throw BadPlace("needs a \".\" in front of each further key");
    text.remove_prefix(1);
  }
}

std::optional<std::size_t> position(const std::string& index, const std::vector<std::string>& names,
                                    std::size_t count) {
  const auto found = std::find(names.begin(), names.end(), index);
  if (found != names.end()) return static_cast<std::size_t>(found - names.begin());
  std::int64_t number = 0;
  if (apps::read_integer(index, number) != apps::NumberFault::kNone) return std::nullopt;
  if (number < 1 || static_cast<std::uint64_t>(number) > count) return std::nullopt;
  return static_cast<std::size_t>(number - 1);
}

std::vector<std::string> component_names(const toml::table& file) {
  const toml::node* const components = file.get("component");
  return components && components->is_array() ? names_of(*components->as_array())
                                              : std::vector<std::string>();
}

void check_number(toml::table& file, const Place& place) { find_slot(file, place); }

bool is_same_place(toml::table& file, const Place& a, const Place& b) {
  return find_slot(file, a).node() == find_slot(file, b).node();
}

void set_number(toml::table& file, const Place& place, double value) {
  constexpr double kWholeBelow = 9007199254740992;  // 2^53: all whole numbers below are doubles
  const Slot slot = find_slot(file, place);
  const auto put = [&slot](auto number) {
    if (slot.array)
      slot.array->replace(slot.array->cbegin() + static_cast<std::ptrdiff_t>(slot.at), number);
    else
      slot.table->insert_or_assign(slot.key, number);
  };
  if (slot.node()->is_integer() && value == std::floor(value) && std::fabs(value) < kWholeBelow)
    put(static_cast<std::int64_t>(value));
  else
    put(value);
}

}  // namespace study
