#pragma once

// What all readers of the programs promise: a value, or one complaint of one line that begins with the file's
// name.

#include <algorithm>
#include <cctype>
#include <optional>
#include <string>

#include "apps/common/toml_reader.h"
#include "fuzz/bytes.h"

namespace fuzz {

/// Returns what `read` makes of a file, or nothing if it complains as it should.
/// @param name  of the file, as the reader was told it
template <class Read>
auto read_or_complaint(const std::string& name, Read read) -> std::optional<decltype(read())> {
  try {
    return read();
  } catch (const apps::BadCase& bad) {
    const std::string what = bad.what();
    require(what.rfind(name + ":", 0) == 0, "a complaint begins with the name of the file");
    require(what.size() > name.size() + 2, "a complaint says something");
    require(std::none_of(what.begin(), what.end(), [](unsigned char ch) { return ch < ' ' || ch == 127; }),
            "a complaint is one line without control characters");
    return std::nullopt;
  }
}

}  // namespace fuzz
