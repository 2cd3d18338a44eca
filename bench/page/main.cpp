// Makes docs/performance.md and its pictures.
//
//   performance_page write|check RESULTS TEMPLATE PAGE PICTURES
//
// RESULTS and PICTURES are folders. `check` compares instead of writing; the exit code is 1 if a file
// differs.
//
//   performance_page gaps RESULTS TEMPLATE
//
// prints what the results of a whole run lack; the exit code is 1 if there is anything.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/page/page.h"
#include "bench/page/pictures.h"
#include "bench/page/results.h"

namespace {

using File = std::pair<std::string, std::string>;  // path and contents

std::ifstream open(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot read " + path);
  return in;
}

std::vector<File> files(char** arguments) {
  const std::string folder = arguments[0], page_template = arguments[1], page = arguments[2],
                    drawn = arguments[3];
  const page::Results results = page::read_results(folder);
  std::ifstream in = open(page_template);
  std::vector<File> all = {{page, page::fill(in, results)}};
  for (const auto& [name, picture] : page::pictures(results)) all.emplace_back(drawn + '/' + name, picture);
  return all;
}

void write(const File& file) {
  std::ofstream out(file.first);
  out << file.second;
  if (!out.flush()) throw std::runtime_error("cannot write " + file.first);
}

void check(const File& file) {
  std::ifstream in = open(file.first);
  const std::string found((std::istreambuf_iterator<char>(in)), {});
  if (found != file.second)
    throw std::runtime_error(
        file.first + " does not follow from its template and the results; write it by scripts/bench --write");
}

/// Returns whether nothing is missing.
bool print_gaps(char** arguments) {
  std::ifstream in = open(arguments[1]);
  const std::vector<std::string> gaps = page::gaps(in, page::read_results(arguments[0]));
  for (const std::string& gap : gaps) std::puts(gap.c_str());
  return gaps.empty();
}

int usage(const char* program) {
  std::fprintf(stderr, "usage: %s write|check RESULTS TEMPLATE PAGE PICTURES | gaps RESULTS TEMPLATE\n",
               program);
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  const bool makes_page = (command == "write" || command == "check") && argc == 6;
  if (!makes_page && (command != "gaps" || argc != 4)) return usage(argv[0]);
  try {
    if (!makes_page) return print_gaps(argv + 2) ? EXIT_SUCCESS : EXIT_FAILURE;
    for (const File& file : files(argv + 2)) command == "write" ? write(file) : check(file);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "%s\n", problem.what());
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
