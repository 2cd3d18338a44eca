// Reads files of results.

#include "bench/page/results.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <locale>
#include <set>
#include <sstream>
#include <stdexcept>

namespace page {
namespace {

std::vector<std::string> fields_of(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream in(line);
  for (std::string field; std::getline(in, field, '\t');) fields.push_back(field);
  return fields;
}

double number_in(const std::string& text) {
  std::istringstream in(text);
  in.imbue(std::locale::classic());
  double number;
  if (!(in >> number) || !(in >> std::ws).eof()) throw std::runtime_error("not a number: " + text);
  return number;
}

bool is_number(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// Orders numbers by size, in front of other names.
bool stands_before(const std::string& a, const std::string& b) {
  if (is_number(a) != is_number(b)) return is_number(a);
  if (is_number(a) && a.size() != b.size()) return a.size() < b.size();
  return a < b;
}

}  // namespace

void Results::read(const std::string& program, std::istream& in) {
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    ++number;
    try {
      read_line(program, line);
    } catch (const std::runtime_error& problem) {
      throw std::runtime_error(program + ", line " + std::to_string(number) + ": " + problem.what());
    }
  }
}

void Results::read_line(const std::string& program, const std::string& line) {
  const std::vector<std::string> fields = fields_of(line);
  if (fields.size() != 3) throw std::runtime_error("not a result: " + line);
  if (fields[0] == "#")
    conditions_[program][fields[1]] = fields[2];
  else
    values_[fields[0]][fields[1]] = number_in(fields[2]);
}

std::optional<double> Results::value(const std::string& run, const std::string& measure) const {
  const auto measures = values_.find(run);
  if (measures == values_.end()) return std::nullopt;
  const auto found = measures->second.find(measure);
  if (found == measures->second.end()) return std::nullopt;
  return found->second;
}

std::optional<double> Results::ratio(const std::string& run) const {
  const auto ours = value(run, "ours"), peer = value(run, "peer");
  if (!ours || !peer) return std::nullopt;
  return *ours / *peer;
}

std::vector<std::string> Results::below(const std::string& path) const {
  const std::string beginning = path + '/';
  std::set<std::string> names;
  for (auto run = values_.lower_bound(beginning);
       run != values_.end() && run->first.compare(0, beginning.size(), beginning) == 0; ++run) {
    const std::size_t begin = beginning.size();
    names.insert(run->first.substr(begin, run->first.find('/', begin) - begin));
  }
  std::vector<std::string> sorted(names.begin(), names.end());
  std::sort(sorted.begin(), sorted.end(), stands_before);
  return sorted;
}

Results read_results(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    if (entry.path().extension() == ".tsv") files.push_back(entry.path());
  if (files.empty()) throw std::runtime_error("no results in " + folder);
  std::sort(files.begin(), files.end());
  Results results;
  for (const std::filesystem::path& file : files) {
    std::ifstream in(file);
    results.read(file.stem().string(), in);
    if (!in.eof()) throw std::runtime_error("cannot read " + file.string());
  }
  return results;
}

}  // namespace page
