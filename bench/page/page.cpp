// Fills the template of the page.

#include "bench/page/page.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "bench/page/markdown.h"
#include "bench/page/tables.h"

namespace page {
namespace {

bool is_mark(const std::string& line) { return line.size() > 2 && line.front() == '@' && line.back() == '@'; }

std::string section(const std::string& name, const Results& results) {
  const auto found = sections().find(name);
  if (found == sections().end())
    throw std::runtime_error("the template names no section of the page: " + name);
  return found->second(results);
}

std::string name_in(const std::string& mark) { return mark.substr(1, mark.size() - 2); }

/// Adds the gaps of a section. Its table, if it has one, begins with a head and a rule, and has a column of
/// names.
void add_gaps(const std::string& name, const std::string& text, std::vector<std::string>& gaps) {
  constexpr int kLinesOfHead = 2, kBarsOfNames = 2;
  int lines = 0;
  bool names_only = false;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (line.rfind('|', 0) == 0 && ++lines == 1)
      names_only = std::count(line.begin(), line.end(), '|') == kBarsOfNames;
    if (line.find(kNone) != std::string::npos) gaps.push_back(name + ": " + line);
  }
  const bool has_table = lines > 0;
  if (has_table && (names_only || lines <= kLinesOfHead)) gaps.push_back(name + ": nothing");
}

}  // namespace

std::string fill(std::istream& in, const Results& results) {
  std::string page;
  for (std::string line; std::getline(in, line);)
    page += is_mark(line) ? section(name_in(line), results) : line + '\n';
  return page;
}

std::vector<std::string> gaps(std::istream& in, const Results& results) {
  std::vector<std::string> gaps;
  for (std::string line; std::getline(in, line);)
    if (is_mark(line)) add_gaps(name_in(line), section(name_in(line), results), gaps);
  return gaps;
}

}  // namespace page
