#pragma once

#include <fmt/format.h>

#include <string>

namespace apps {

/// Counts the figures that a case quotes from its source, and those of them that the program's own differ
/// from.
struct PublishedCount {
  int all = 0, differing = 0;

  void add(bool differs) {
    ++all;
    differing += differs;
  }
  void add(const PublishedCount& more) {
    all += more.all;
    differing += more.differing;
  }
  /// Returns the count in words.
  std::string words() const {
    return fmt::format("{} of {} published values {}", differing > 0 ? differing : all, all,
                       differing > 0 ? "differ" : "agree");
  }
  /// Returns the same for below a table with the mark `*` before each published value that differs.
  std::string words_below_table() const {
    return words() + (differing > 0 ? "; a * stands before each" : "");
  }
};

}  // namespace apps
