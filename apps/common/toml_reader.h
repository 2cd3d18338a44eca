#pragma once

// Reads tables of a TOML file and complains, with the line, of whatever is not as it should be.

#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <toml++/toml.h>

#include "apps/common/toml_nesting.h"

namespace apps {

/// Says what is wrong with a case file, and in which line.
struct CaseError : std::runtime_error {
  CaseError(int at_line, const std::string& what) : std::runtime_error(what), line(at_line) {}
  int line;  // 0: the file as a whole
};

/// Says that another file, which a case file names, is at fault.
struct UnusableFile : CaseError {
  using CaseError::CaseError;
};

/// A case file that cannot be used. what() is the one message, "file:line: what"; without the line where
/// the file as a whole is at fault.
struct BadCase : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Parses the text of a case file and returns what `read` makes of it.
/// @param read  Case(const toml::table&); throws CaseError, or BadCase about another file that the case names
/// @param name  of the file, for messages
/// @throws BadCase
template <class Case, class Read>
Case parse_case_text(const std::string& text, const std::string& name, Read read);

/// Returns a complaint as one line, whatever stood in the file.
BadCase complaint(const std::string& name, long line, std::string what);

/// One table, with the keys that it may hold. Every function throws a CaseError where the file is at fault.
class TomlTable {
 public:
  /// @param name   as complaints call it, such as "[column]"
  /// @param known  keys that may stand in it
  TomlTable(const toml::table& table, std::string name, std::initializer_list<std::string_view> known);

  int line() const { return line_; }
  int line(std::string_view key) const;
  bool has(std::string_view key) const { return table_.contains(key); }

  double number(std::string_view key) const;
  double positive(std::string_view key) const;
  double number_from(std::string_view key, double lowest) const;
  /// @param unit  follows the bounds in the complaint
  double number_between(std::string_view key, double lowest, double highest, const char* unit = "") const;
  double number_or(std::string_view key, double fallback) const;
  int integer(std::string_view key, int lowest, int highest) const;
  std::string text(std::string_view key) const;
  /// Returns a text without line ends and other control characters.
  std::string line_of_text(std::string_view key) const;
  std::string text_or(std::string_view key, const std::string& fallback) const;
  /// Returns an array of exactly `count` numbers, of any positive count if that is 0.
  std::vector<double> numbers(std::string_view key, std::size_t count, std::string_view of_what) const;
  /// Returns an array of at least `least` texts, none of them empty or with control characters and no two
  /// alike.
  std::vector<std::string> texts(std::string_view key, std::size_t least) const;
  /// Returns the index of the key's text among `choices`.
  int choice(std::string_view key, const std::vector<std::string>& choices) const;

  const toml::table& table(std::string_view key) const;
  /// Returns the tables under [[key]]; none if the key is missing.
  std::vector<const toml::table*> tables(std::string_view key) const;

  [[noreturn]] void complain(std::string_view key, const std::string& what) const;

 private:
  const toml::node& node(std::string_view key) const;
  double finite_number(const toml::node& node, std::string_view key) const;

  const toml::table& table_;
  std::string name_;
  int line_;
};

template <class Case, class Read>
Case parse_case_text(const std::string& text, const std::string& name, Read read) {
  try {
    check_nesting(text);
    return read(toml::parse(text, name));
  } catch (const toml::parse_error& error) {
    throw complaint(name, error.source().begin.line, std::string(error.description()));
  } catch (const CaseError& error) {
    throw complaint(name, error.line, error.what());
  }
}

}  // namespace apps
