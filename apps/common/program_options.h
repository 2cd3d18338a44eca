#pragma once

// Options that several programs have in common: what they accept, and what they say otherwise.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "apps/common/input.h"
#include "apps/common/number.h"
#include "apps/common/output.h"
#include "apps/common/platform.h"
#include "apps/common/progress.h"

namespace apps {

/// Refuses an empty name: it is a slip, of a script perhaps, and would count as an option that was not given.
inline CLI::Validator not_empty() {
  return CLI::Validator(
      [](const std::string& name) { return name.empty() ? "the name is empty" : std::string(); }, "");
}

/// Refuses "-" for what is read or written at its name only.
/// @param what  the name is that of
inline CLI::Validator no_stream(const char* what = "file") {
  return CLI::Validator(
      [what](const std::string& name) {
        return is_standard_stream(name) ? fmt::format("must be a {}, not -", what) : std::string();
      },
      "");
}

/// Returns whether an option or a positional argument was given. CLI::App::count may not be used for it: on
/// its way it copies the name in a function that is declared not to throw, so that refused memory would end
/// the process there.
/// @throws std::bad_alloc
inline bool is_given(const CLI::App& app, const std::string& name) {
  const std::vector<const CLI::Option*> options = app.get_options();
  return std::any_of(options.begin(), options.end(), [&](const CLI::Option* option) {
    return option->count() > 0 && option->check_name(name);
  });
}

/// Accepts numbers from `lowest` to `highest`, both included, and no NaN.
/// @param unit  follows the bounds in the message
inline CLI::Validator between(double lowest, double highest, const char* unit = "") {
  // Seven digits, so that no bound comes out as 1e+06.
  const auto check = [=](const std::string& text) {
    double value = 0;
    const bool is_within =
        read_number(text, value) == NumberFault::kNone && value >= lowest && value <= highest;
    return is_within
               ? std::string()
               : fmt::format("must lie between {:.7g} and {:.7g}{}, not {}", lowest, highest, unit, text);
  };
  return CLI::Validator(check, fmt::format("{:.7g} to {:.7g}", lowest, highest));
}

/// Adds an option that takes one of some words.
/// @param target   set to the value of the word; outlives the parser
template <class Target, class Value>
CLI::Option* add_choice(CLI::App& app, const std::string& option, Target& target,
                        const std::map<std::string, Value>& choices, const std::string& help) {
  const auto choose = [&target, choices](const std::string& word) { target = choices.at(word); };
  return app.add_option_function<std::string>(option, choose, help)->check(CLI::IsMember(choices));
}

/// Adds the option that leaves out the report, and whatever tells how far the run is.
inline CLI::Option* add_quiet(CLI::App& app, bool& quiet) {
  return app
      .add_flag_callback("--quiet",
                         [&quiet] {
                           quiet = true;
                           Phase::keep_quiet();
                         })
      ->description("print no report: nothing but errors, and what is written to -");
}

/// Checks that standard input is read once at most.
/// @param inputs  of the program; some may be empty
/// @throws CLI::ValidationError
inline void check_inputs(const std::vector<std::string>& inputs) {
  if (std::count_if(inputs.begin(), inputs.end(), is_standard_stream) > 1)
    throw CLI::ValidationError("-", "standard input can be read only once");
}

/// Checks that an output does not replace a file that is read.
/// @param option  that names the output
/// @throws CLI::ValidationError
inline void check_output(const std::string& option, const std::string& output, const std::string& input) {
  std::error_code none;  // a file that is not there is not the same
  if (is_standard_stream(output) || is_standard_stream(input)) return;
  const auto replaced = std::filesystem::u8path(output), read = std::filesystem::u8path(input);
  if (std::filesystem::is_regular_file(replaced, none) && std::filesystem::equivalent(replaced, read, none))
    throw CLI::ValidationError(option, output + " would be replaced, and is read");
}

/// Returns whether two paths lead to one file, which need not be there yet, through whatever links.
inline bool name_one_file(const std::string& a, const std::string& b) {
  namespace fs = std::filesystem;
  std::error_code none;
  const fs::path first = fs::weakly_canonical(fs::absolute(fs::u8path(a), none), none);
  const fs::path second = fs::weakly_canonical(fs::absolute(fs::u8path(b), none), none);
  return !first.empty() && platform::is_same_path(first, second);
}

/// Checks that an output is not lost to another one; either may be empty, which is none.
/// @param option        that names the output
/// @param other_option  that names the other one
/// @throws CLI::ValidationError
inline void check_outputs_differ(const std::string& option, const std::string& output,
                                 const std::string& other_option, const std::string& other) {
  if (!output.empty() && !other.empty() && name_one_file(output, other))
    throw CLI::ValidationError(option, output + " is written by " + other_option + " too");
}

}  // namespace apps
