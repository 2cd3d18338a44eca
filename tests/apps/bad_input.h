#pragma once

// Bad inputs: each row spoils one thing in a text that is otherwise good, and says what must come of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "apps/common/toml_reader.h"

struct BadInput {
  std::string good, bad;  // the first occurrence of `good` becomes `bad`
  int line;               // that the complaint must name
  std::string says;       // words that must stand in it
};

/// The complaint about an input; empty if there is none.
template <class Read>
std::string complaint(Read read) {
  try {
    read();
  } catch (const apps::BadCase& bad) {
    return bad.what();
  }
  return "";
}

/// The text with the first occurrence of `what` replaced.
inline std::string altered(std::string text, const std::string& what, const std::string& by) {
  const std::size_t at = text.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  return at == std::string::npos ? text : text.replace(at, what.size(), by);
}

/// @param parse  takes a text and the name of its file
template <class Parse>
void expect_file_line_and_fault(const std::string& good, const std::vector<BadInput>& rows, Parse parse) {
  EXPECT_EQ(complaint([&] { parse(good, "my.file"); }), "");
  for (const BadInput& row : rows) {
    SCOPED_TRACE(row.good + " -> " + row.bad);
    const std::string said = complaint([&] { parse(altered(good, row.good, row.bad), "my.file"); });
    EXPECT_EQ(said.rfind("my.file:" + std::to_string(row.line) + ": ", 0), 0u) << said;
    EXPECT_NE(said.find(row.says), std::string::npos) << said;
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 0) << said;
  }
}

/// Every text that is cut before the tolerance must be refused.
template <class Parse>
void expect_cuts_refused(const std::string& good, Parse parse) {
  for (std::size_t length = 0; length <= good.find("tolerance = "); ++length)
    EXPECT_NE(complaint([&] { parse(good.substr(0, length), "my.file"); }), "") << length;
}
