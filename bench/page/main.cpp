// Makes docs/performance.md and its pictures.
//
//   performance_page write|check RESULTS TEMPLATE PAGE PICTURES
//
// RESULTS and PICTURES are folders. `check` compares instead of writing; the exit code is 1 if a file
// differs.

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

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc == 6 ? argv[1] : "";
  if (command != "write" && command != "check") {
    std::fprintf(stderr, "usage: %s write|check RESULTS TEMPLATE PAGE PICTURES\n", argv[0]);
    return EXIT_FAILURE;
  }
  try {
    for (const File& file : files(argv + 2)) command == "write" ? write(file) : check(file);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "%s\n", problem.what());
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
