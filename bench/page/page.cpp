// Fills the template of the page.

#include "bench/page/page.h"

#include <stdexcept>

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

}  // namespace

std::string fill(std::istream& in, const Results& results) {
  std::string page;
  for (std::string line; std::getline(in, line);)
    page += is_mark(line) ? section(line.substr(1, line.size() - 2), results) : line + '\n';
  return page;
}

}  // namespace page
