#pragma once

// Names of numbers, in case files and in answers: keys with dots between them, each with what it is counted
// or called in brackets, as in feed[1].rate, feed[F].rates[C3] or distillate.fraction[light].

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "apps/common/toml_reader.h"

namespace study {

/// One key of a place with its indices: rates[C3] is the key "rates" with one index.
struct Step {
  std::string key;
  std::vector<std::string> indices;
};

using Place = std::vector<Step>;

/// Is thrown for a place that there is not; what() tells why, as an end of a sentence.
struct BadPlace : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Reads a place. An index is whatever stands up to the next ']', so that names with dots can be given.
/// @throws BadPlace
Place parse_place(std::string_view text);

/// Returns the position, from 0, of what an index names: a number from 1 to `count`, or one of the names.
/// A name wins over a number.
std::optional<std::size_t> position(const std::string& index, const std::vector<std::string>& names,
                                    std::size_t count);

/// Returns the names of the components of a case file [component], as far as it has them.
std::vector<std::string> component_names(const toml::table& file);

/// Checks that a place names a number of a case file. A table of an array is named by its position from 1, by
/// its "name" or by its "stream"; a number of an array that has one for each component also by the component.
/// @throws BadPlace  if there is no number at this place
void check_number(toml::table& file, const Place& place);

/// Returns whether two places, each of a number of a case file, are the same, by whatever names.
bool is_same_place(toml::table& file, const Place& a, const Place& b);

/// Puts a value in the place of a number of a case file. Where the file has an integer, a whole value becomes
/// one too, because readers of counts take nothing else.
/// @throws BadPlace  as check_number()
void set_number(toml::table& file, const Place& place, double value);

}  // namespace study
