#pragma once

#include <stdexcept>
#include <string>

#include "examples/column/column_case.h"

namespace column {

/// A case file that cannot be used. what() is the one message, "file:line: what"; without the line where
/// the file as a whole is at fault.
struct BadCase : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Reads and checks a case. What it returns has positive flows everywhere. Throws BadCase.
/// @param name  of the file, for messages
ColumnCase parse_case(const std::string& text, const std::string& name);
ColumnCase read_case(const std::string& path);

}  // namespace column
