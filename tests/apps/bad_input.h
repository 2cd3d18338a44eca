#pragma once

// Bad inputs: each row spoils one thing in a text that is otherwise good, and says what must come of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "apps/common/toml_reader.h"

struct BadInput {
  const char *good, *bad;  // the first occurrence of `good` becomes `bad`
  int line;                // that the complaint must name
  const char* says;        // words that must stand in it
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

/// @param parse  takes a text and the name of its file
template <class Parse>
void expect_file_line_and_fault(const std::string& good, const std::vector<BadInput>& rows, Parse parse) {
  for (const BadInput& row : rows) {
    SCOPED_TRACE(std::string(row.good) + " -> " + row.bad);
    std::string text = good;
    const std::size_t at = text.find(row.good);
    ASSERT_NE(at, std::string::npos);
    text.replace(at, std::string(row.good).size(), row.bad);
    const std::string said = complaint([&] { parse(text, "my.file"); });
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
