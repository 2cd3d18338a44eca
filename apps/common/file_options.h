#pragma once

// What the programs refuse of options that name files.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>

namespace apps {

/// An empty name is a slip, of a script perhaps, and would pass for an option that was not given.
inline CLI::Validator not_empty() {
  return CLI::Validator(
      [](const std::string& name) { return name.empty() ? "the name is empty" : std::string(); }, "");
}

/// A file that is read must not be replaced.
/// @param option  that names the output
/// @throws CLI::ValidationError
inline void check_output(const std::string& option, const std::string& output, const std::string& input) {
  std::error_code none;  // a file that is not there is not the same
  if (std::filesystem::is_regular_file(output, none) && std::filesystem::equivalent(output, input, none))
    throw CLI::ValidationError(option, output + " would be replaced, and is read");
}

}  // namespace apps
