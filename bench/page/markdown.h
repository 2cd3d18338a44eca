#pragma once

// Tables in Markdown, and the numbers in them.

#include <optional>
#include <string>
#include <vector>

namespace page {

using Row = std::vector<std::string>;
/// A number to be shown; none if it was not measured, which a dash shows.
using Value = std::optional<double>;

inline constexpr const char* kNone = "–";

class Table {
 public:
  explicit Table(const Row& head) {
    add(head);
    text_ += '|';
    for (std::size_t i = 0; i < head.size(); ++i) text_ += "---|";
    text_ += '\n';
  }
  void add(const Row& row) {
    text_ += '|';
    for (const std::string& cell : row) text_ += ' ' + cell + " |";
    text_ += '\n';
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

std::string code(const std::string& text);
/// Writes a whole number.
std::string whole(Value value);
/// Writes a number with at least so many significant digits, without an exponent.
std::string digits(Value value, int significant);
std::string two_digits(Value value);
/// Writes a duration, given in seconds, in milliseconds.
std::string milliseconds(Value value);
/// Writes a duration, given in seconds, with the unit that suits it.
std::string duration(Value value);
/// Writes a count as 1.4e9.
std::string large_count(Value value);
/// Writes an order as a power of ten if it is one.
std::string order_text(const std::string& order);

}  // namespace page
